#ifndef HOST_CLI_INPUTWORDS_H
#define HOST_CLI_INPUTWORDS_H

#include <string>
#include <vector>

#include <decoding/Input.h>

/// The words that say how an input is decoded: the options of `decode` that concern inputs, for all of them, and the
/// same words behind one input, for it alone. All operations are thread-safe.
namespace InputWords {

struct Word {
    const char *name;
    const char *argument; // what its value is called; null where it is yes or no, and yes when it is not given
    const char *help;
};

/// What one of the words is set to.
struct Setting {
    std::string word;
    std::string value;
};

[[nodiscard]] const std::vector<Word> &all();

[[nodiscard]] bool isWord(const std::string &text);

/// @throws decoding::Error that says what the word of @p setting, one of all, takes.
void set(decoding::InputOptions &options, const Setting &setting);

/// Sets all of them. Outputs come in the place of those that there are, and every other word is an option of
/// libavformat's. @throws decoding::Error that names the culprit.
void setAll(decoding::InputOptions &options, const std::vector<Setting> &settings);

/// @throws decoding::Error when an output takes none of the streams that are asked for.
void checkOutputsHaveStreams(const decoding::InputOptions &options);

/// @param text settings with "&" between, each a word, and a value behind "=" with percent signs for what has a meaning
///        here: %26 for "&", %25 for "%". @throws decoding::Error that names the culprit.
[[nodiscard]] std::vector<Setting> parse(const std::string &text);

/// @return which of the words, and of @p others, @p text is most like.
[[nodiscard]] std::string nearest(const std::string &text, const std::vector<std::string> &others);

} // namespace InputWords

#endif
