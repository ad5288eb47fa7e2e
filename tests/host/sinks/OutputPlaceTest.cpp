#include "sinks/OutputPlace.h"

#include <QFile>
#include <QTemporaryDir>

#include "sinks/SinkFactory.h"
#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::Optional;

class OutputPlaceTest : public testing::Test {
protected:
    /// An input at "clip.wav", and a symbolic link to it at "link.wav".
    OutputPlaceTest()
    {
        QFile input(path("clip.wav"));
        EXPECT_TRUE(input.open(QIODevice::WriteOnly) && input.write("samples") == 7);
        input.close();
        EXPECT_TRUE(QFile::link(path("clip.wav"), path("link.wav")));
        const auto files = std::make_shared<InputFiles>();
        quint64 number = 0;
        for (const char *const name : {"clip.wav", "missing.wav"}) {
            files->expect(++number);
            files->identify(number, path(name).toStdString());
        }
        inputs = files;
    }

    QString path(const char *name) const { return _directory.filePath(QLatin1String(name)); }

    std::shared_ptr<const InputFiles> inputs;

private:
    QTemporaryDir _directory;
};

} // namespace

TEST_F(OutputPlaceTest, RefusesAnInputByWhicheverPath)
{
    const OutputPlace place{"", inputs};
    EXPECT_THAT(place.refusal(path("clip.wav").toStdString()), Optional(HasSubstr("clip.wav")));
    EXPECT_THAT(place.refusal(path("./clip.wav").toStdString()), Optional(HasSubstr("one of the inputs")));
    EXPECT_THAT(place.refusal(path("link.wav").toStdString()), Optional(HasSubstr("link.wav")));
    EXPECT_EQ(place.refusal(path("other.wav").toStdString()), std::nullopt);
    EXPECT_EQ(place.refusal(path("missing.wav").toStdString()), std::nullopt);
    EXPECT_EQ((OutputPlace{"", nullptr}).refusal(path("clip.wav").toStdString()), std::nullopt);
}

TEST_F(OutputPlaceTest, AnOutputThatWouldReplaceAnInputIsNotMade)
{
    SinkWorkers workers(1);
    OutputSpec spec;
    spec.kind = OutputSpec::Wav;
    spec.directory = path(".").toStdString();
    const auto refused = SinkFactory::createAudioSink(spec, {QStringLiteral("clip"), 0, inputs}, workers);
    const auto sink = std::get<ModkitPtr<AudioSink>>(refused);
    sink->finish();
    EXPECT_THAT(sink->status().error, Optional(HasSubstr("clip.wav: it is one of the inputs")));
    EXPECT_EQ(QFile(path("clip.wav")).size(), 7);
}
