#include "control/ControlLine.h"

#include <QString>
#include <QTextCodec>

#include <algorithm>
#include <optional>

#include "media/SafeText.h"

namespace {

constexpr char space = ' ';
constexpr char tab = '\t';
constexpr char quotationMark = '"';
constexpr char escape = '\\';

/// @return nothing when @p text is not UTF-8.
std::optional<QString> decoded(const std::string &text)
{
    QTextCodec::ConverterState state;
    const QString result =
        QTextCodec::codecForName("UTF-8")->toUnicode(text.data(), static_cast<int>(text.size()), &state);
    if (state.invalidChars > 0 || state.remainingChars > 0)
        return std::nullopt;
    return result;
}

bool isControl(QChar character)
{
    return character.category() == QChar::Other_Control;
}

/// Takes one word off @p text from @p position on, which is no space. @return nothing when its end is missing.
std::optional<std::string> takeWord(const std::string &text, std::size_t &position)
{
    if (text[position] != quotationMark) {
        const std::size_t end = std::min(text.find(space, position), text.size());
        const std::string word = text.substr(position, end - position);
        position = end;
        return word;
    }
    std::string word;
    for (++position; position < text.size(); ++position) {
        if (text[position] == quotationMark) {
            ++position;
            const bool isEnd = position == text.size() || text[position] == space;
            return isEnd ? std::optional(word) : std::nullopt;
        }
        if (text[position] == escape && ++position == text.size())
            return std::nullopt;
        word += text[position];
    }
    return std::nullopt;
}

} // namespace

std::variant<std::vector<std::string>, std::string> ControlLine::split(const std::string &request)
{
    const std::optional<QString> text = decoded(request);
    if (!text)
        return std::string("the request is not UTF-8");
    if (std::any_of(text->begin(), text->end(), isControl))
        return std::string("the request holds control characters");

    std::vector<std::string> words;
    for (std::size_t position = 0; position < request.size();) {
        if (request[position] == space) {
            ++position;
            continue;
        }
        const std::optional<std::string> word = takeWord(request, position);
        if (!word)
            return std::string("a word in quotation marks ends with the second one; inside, \\\" and \\\\ stand for "
                               "a quotation mark and a backslash");
        words.push_back(*word);
    }
    return words;
}

std::string ControlLine::join(const std::vector<std::string> &words)
{
    std::string line;
    for (const std::string &word : words) {
        if (!line.empty())
            line += space;
        if (!word.empty() && word.front() != quotationMark && word.find(space) == std::string::npos) {
            line += word;
            continue;
        }
        line += quotationMark;
        for (const char character : word) {
            if (character == quotationMark || character == escape)
                line += escape;
            line += character;
        }
        line += quotationMark;
    }
    return line;
}

std::string ControlLine::field(const std::string &text)
{
    return SafeText::utf8(text);
}

std::string ControlLine::fields(const std::string &line)
{
    std::string result;
    std::size_t begin = 0;
    for (std::size_t end = line.find(tab); end != std::string::npos; end = line.find(tab, begin)) {
        result += field(line.substr(begin, end - begin)) + tab;
        begin = end + 1;
    }
    return result + field(line.substr(begin));
}
