// Prints "video SIZE MD5" for each picture and "audio SIZE MD5" for each run of samples of a file, by the rules of
// framemd5: the rows of a picture without what pads them, and samples as interleaved 16-bit ones.
#include <cstdio>
#include <string>

#include <decoding/Session.h>

extern "C" {
#include <libavutil/md5.h>
}

namespace {

template <class Frame>
void print(const char *kind, const Frame &frame)
{
    std::string bytes;
    for (int index = 0; index < frame.planeCount(); ++index) {
        const decoding::Plane plane = frame.plane(index);
        for (int row = 0; row < plane.height; ++row)
            bytes.append(reinterpret_cast<const char *>(plane.data) + std::ptrdiff_t(row) * plane.stride, plane.width);
    }
    unsigned char sum[16];
    av_md5_sum(sum, reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size());
    std::printf("%s %zu ", kind, bytes.size());
    for (const unsigned char part : sum)
        std::printf("%02x", part);
    std::printf("\n");
}

} // namespace

int main(int, char **argv)
try {
    decoding::Session session;
    const auto input = session.open(argv[1]);
    if (input->hasVideo()) {
        while (const auto frame = input->video().next())
            print("video", *frame);
    }
    if (input->hasAudio()) {
        while (const auto frame = input->audio().next())
            print("audio", frame->convertTo("s16"));
    }
} catch (const decoding::Error &error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
