#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "BareDecoding.h"
#include "ComponentDecoding.h"

/// Decodes so many streams of one clip at once, with the component or with a bare libavcodec loop, and prints what it
/// took, for bench/suite to compare the two.
namespace {

constexpr char usage[] = "usage: decode_bench (component | bare) CLIP [streams=N] [threads=N] [packets=N] [paced=1] "
                         "[time-saving=1] [check=1] [whole-streams=1] [burst-ms=N] [live-burst=N]\n";

/// @return whether @p argument is known, and then stored in @p task or @p packetCount.
bool store(const char *argument, DecodingTask &task, int &packetCount)
{
    const char *const sign = std::strchr(argument, '=');
    if (!sign)
        return false;
    const std::string name(argument, sign);
    const int value = std::atoi(sign + 1);
    if (value <= 0)
        return false;
    if (name == "streams")
        task.streamCount = value;
    else if (name == "threads")
        task.threadCount = value;
    else if (name == "packets")
        packetCount = value;
    else if (name == "paced")
        task.paced = true;
    else if (name == "time-saving")
        task.timeSaving = true;
    else if (name == "check")
        task.checking = true;
    else if (name == "whole-streams")
        task.wholeStreams = true;
    else if (name == "burst-ms")
        task.burstMs = value;
    else if (name == "live-burst")
        task.liveBurst = value;
    else
        return false;
    return true;
}

void print(const DecodingResult &result, bool checking)
{
    quint64 frames = 0;
    quint64 checksum = 0;
    for (const FrameCount &stream : result.streams) {
        frames += stream.frames();
        checksum += stream.checksum();
    }
    std::printf("frames %llu\n", frames);
    if (checking)
        std::printf("checksum %016llx\n", checksum);
    std::printf("cpu-s %.6f\n", result.processorSeconds);
    std::printf("wall-s %.6f\n", result.wallSeconds);
    std::printf("peak-kb %ld\n", ResourceUse::peakMemoryKb());
}

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1"); // as the reference host does
    QCoreApplication application(argc, argv);
    DecodingTask task;
    int packetCount = 1000000;
    bool understood = argc >= 3;
    for (int index = 3; index < argc; ++index)
        understood = understood && store(argv[index], task, packetCount);
    const bool bare = understood && std::strcmp(argv[1], "bare") == 0;
    if (!understood || (!bare && std::strcmp(argv[1], "component") != 0)) {
        std::fputs(usage, stderr);
        return 2;
    }
    // The component tells which codec decoders it makes.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});

    const auto clip = Clip::read(argv[2], packetCount, bare ? Clip::Form::Packets : Clip::Form::Blocks);
    if (const std::string *const error = std::get_if<std::string>(&clip)) {
        std::fprintf(stderr, "%s\n", error->c_str());
        return 1;
    }
    const auto result =
        bare ? BareDecoding::run(std::get<Clip>(clip), task) : ComponentDecoding::run(std::get<Clip>(clip), task);
    if (const std::string *const error = std::get_if<std::string>(&result)) {
        std::fprintf(stderr, "%s\n", error->c_str());
        return 1;
    }
    print(std::get<DecodingResult>(result), task.checking);
    return 0;
}
