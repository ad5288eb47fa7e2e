#include "cli/InputWords.h"

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "media/FilePlace.h"
#include <decoding/Error.h>

namespace {

using decoding::Error;
using decoding::InputOptions;
using std::chrono::milliseconds;

constexpr double maxSeconds = 1e9;
constexpr double maxWaitSeconds = 86400;

double numberOf(const std::string &text)
{
    bool isNumber = false;
    const double value = QString::fromStdString(text).toDouble(&isNumber);
    return isNumber ? value : std::nan("");
}

milliseconds toMilliseconds(double seconds)
{
    return milliseconds(std::llround(seconds * 1000));
}

int wholeNumber(const std::string &text, int last)
{
    bool isNumber = false;
    const int value = QString::fromStdString(text).toInt(&isNumber);
    if (!isNumber || value < 1 || value > last)
        throw Error("takes a whole number from 1 to " + std::to_string(last));
    return value;
}

milliseconds secondsOf(const std::string &text, double last)
{
    const double value = numberOf(text);
    if (!(value >= 0.001 && value <= last))
        throw Error("takes seconds, from 0.001 to " + std::to_string(std::llround(last)));
    return toMilliseconds(value);
}

bool yesOrNo(const std::string &text)
{
    if (text != "yes" && text != "no")
        throw Error("takes yes or no");
    return text == "yes";
}

void setOutput(InputOptions &options, const std::string &text)
{
    const decoding::Output output = decoding::Output::parse(text);
    for (const decoding::Output &other : options.outputs) {
        if (output.kind == other.kind &&
            FilePlace::ofDirectory(output.directory) == FilePlace::ofDirectory(other.directory))
            throw Error("\"" + text + "\" is the same output as another");
    }
    options.outputs.push_back(output);
}

void setStreams(InputOptions &options, const std::string &text)
{
    if (text != "video" && text != "audio" && text != "both")
        throw Error("takes video, audio or both, not \"" + text + "\"");
    options.video = text != "audio";
    options.audio = text != "video";
}

void setReferences(InputOptions &options, const std::string &text)
{
    if (text != "beside" && text != "anywhere")
        throw Error("takes beside or anywhere, not \"" + text + "\"");
    options.mayNameAnything = text == "anywhere";
}

void setRetry(InputOptions &options, const std::string &text)
{
    const std::size_t colon = text.find(':');
    const double first = numberOf(text.substr(0, colon));
    const double last = colon == std::string::npos ? std::nan("") : numberOf(text.substr(colon + 1));
    if (!(first >= 0.001 && first <= last && last <= maxWaitSeconds))
        throw Error("takes two numbers of seconds with a colon between, such as 0.5:30, the first not greater than the "
                    "second, from 0.001 to 86400");
    options.firstRetryDelay = toMilliseconds(first);
    options.lastRetryDelay = toMilliseconds(last);
}

struct SetWord : InputWords::Word {
    void (*set)(InputOptions &options, const std::string &value);
};

const std::vector<SetWord> &words()
{
    static const std::vector<SetWord> all{
        {{"output", "KIND[:DIR]",
          "Count the frames (null, the default), or write files to DIR\n"
          "(by default the current directory): framemd5, y4m, raw, wav, or png\n"
          "for a snapshot every 10 seconds (png@SECONDS for others).\n"
          "The directory - stands for the standard output, for one stream.\nMay be given several times"},
         setOutput},
        {{"streams", "KIND", "Decode the inputs' video, audio or both (the default)"}, setStreams},
        {{"overwrite", nullptr, "Replace files that live inputs were written to before"},
         [](InputOptions &options, const std::string &value) { options.overwrite = yesOrNo(value); }},
        {{"paced", nullptr, "Feed blocks when they are due, not as fast as possible"},
         [](InputOptions &options, const std::string &value) { options.paced = yesOrNo(value); }},
        {{"exclude-from-tuning", nullptr, "Decode every block despite --time-saving"},
         [](InputOptions &options, const std::string &value) { options.excludeFromTuning = yesOrNo(value); }},
        {{"burst", "N",
          "Decode up to N packets of a file in one go (by default as many as\nare good), and N pictures of a live "
          "input, which wait for each other\n(by default each as it comes)"},
         [](InputOptions &options, const std::string &value) { options.burst = wholeNumber(value, 1000000); }},
        {{"repeat", "N", "Read each input N times over"},
         [](InputOptions &options, const std::string &value) { options.repeat = wholeNumber(value, 1000000000); }},
        {{"duration", "SECONDS", "Read no more than SECONDS of each input, all rounds together"},
         [](InputOptions &options, const std::string &value) { options.duration = secondsOf(value, maxSeconds); }},
        {{"max-latency", "MS",
          "Drop the oldest group of pictures of a live source whose blocks\nwait longer than MS (by default 400)"},
         [](InputOptions &options, const std::string &value) {
             options.maxLatency = milliseconds(wholeNumber(value, 3600000));
         }},
        {{"stall", "SECONDS",
          "Connect to a live source again when nothing has come for SECONDS\n"
          "(by default 5); a file from the network fails then (by default 30)"},
         [](InputOptions &options, const std::string &value) {
             options.stallLimit = secondsOf(value, maxWaitSeconds);
         }},
        {{"retry", "MIN:MAX",
          "Wait MIN seconds before a lost source is connected to again, and\n"
          "twice as long each further time, up to MAX (by default 0.5:30)"},
         setRetry},
        {{"references", "WHERE",
          "What a playlist that is a local file may name: what lies beside it\n(beside, the default), or any file and "
          "address (anywhere)"},
         setReferences},
    };
    return all;
}

/// How many letters must be put in, left out or changed to make one of the other.
std::size_t editDistance(const std::string &one, const std::string &other)
{
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t(0));
    for (std::size_t position = 0; position < one.size(); ++position) {
        std::size_t diagonal = row[0];
        row[0] = position + 1;
        for (std::size_t column = 0; column < other.size(); ++column) {
            const std::size_t changed = diagonal + (one[position] == other[column] ? 0 : 1);
            diagonal = row[column + 1];
            row[column + 1] = std::min({changed, row[column] + 1, row[column + 1] + 1});
        }
    }
    return row.back();
}

std::string decoded(const std::string &text)
{
    for (std::size_t sign = text.find('%'); sign != std::string::npos; sign = text.find('%', sign + 1)) {
        const auto isDigit = [&](std::size_t at) {
            return at < text.size() && std::isxdigit(static_cast<unsigned char>(text[at])) != 0;
        };
        if (!isDigit(sign + 1) || !isDigit(sign + 2))
            throw Error("two hexadecimal digits belong behind each \"%\"; %25 stands for the sign itself");
    }
    return QByteArray::fromPercentEncoding(QByteArray::fromStdString(text)).toStdString();
}

} // namespace

const std::vector<InputWords::Word> &InputWords::all()
{
    static const std::vector<Word> all(words().begin(), words().end());
    return all;
}

bool InputWords::isWord(const std::string &text)
{
    return std::any_of(words().begin(), words().end(), [&text](const SetWord &word) { return text == word.name; });
}

void InputWords::set(InputOptions &options, const Setting &setting)
{
    const auto word = std::find_if(words().begin(), words().end(),
                                   [&setting](const SetWord &known) { return setting.word == known.name; });
    word->set(options, setting.value.empty() && !word->argument ? "yes" : setting.value);
}

void InputWords::setAll(InputOptions &options, const std::vector<Setting> &settings)
{
    if (std::any_of(settings.begin(), settings.end(), [](const auto &setting) { return setting.word == "output"; }))
        options.outputs.clear();
    for (const Setting &setting : settings) {
        if (!isWord(setting.word)) {
            options.formatOptions[setting.word] = setting.value;
            continue;
        }
        try {
            set(options, setting);
        } catch (const Error &error) {
            throw Error(setting.word + ": " + error.what());
        }
    }
    checkOutputsHaveStreams(options);
}

void InputWords::checkOutputsHaveStreams(const InputOptions &options)
{
    for (const decoding::Output &output : options.outputs) {
        if (!(options.video && output.takesVideo()) && !(options.audio && output.takesAudio()))
            throw Error(std::string(output.kindName()) + " takes no " + (options.video ? "video" : "audio") +
                        ", and --streams asks for nothing else");
    }
}

std::vector<InputWords::Setting> InputWords::parse(const std::string &text)
{
    std::vector<Setting> settings;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('&', begin), text.size());
        const std::string part = text.substr(begin, end - begin);
        const std::size_t sign = part.find('=');
        const std::string word = part.substr(0, sign);
        if (word.empty())
            throw Error("a word is missing before \"" + part + "\"; it is WORD=VALUE&WORD=VALUE");
        try {
            settings.push_back({word, sign == std::string::npos ? std::string() : decoded(part.substr(sign + 1))});
        } catch (const Error &error) {
            throw Error(word + ": " + error.what());
        }
        begin = end + 1;
    }
    return settings;
}

std::string InputWords::nearest(const std::string &text, const std::vector<std::string> &others)
{
    std::vector<std::string> candidates;
    for (const SetWord &word : words())
        candidates.emplace_back(word.name);
    candidates.insert(candidates.end(), others.begin(), others.end());
    return *std::min_element(candidates.begin(), candidates.end(), [&text](const auto &one, const auto &other) {
        return editDistance(text, one) < editDistance(text, other);
    });
}
