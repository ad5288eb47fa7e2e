#ifndef HOST_SOURCES_FORMATOPTIONS_H
#define HOST_SOURCES_FORMATOPTIONS_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

struct AVDictionary;

/// What libavformat is told when it opens an input: what the host itself wants, where the input takes it, and what the
/// user asks for, which the input must take. Reentrant.
class FormatOptions final {
public:
    /// @param asked by the user; it goes before what the host sets.
    explicit FormatOptions(std::map<std::string, std::string> asked);
    FormatOptions(const FormatOptions &) = delete;
    FormatOptions &operator=(const FormatOptions &) = delete;
    ~FormatOptions();

    void set(const std::string &name, const std::string &value);

    /// For libavformat, which removes what it takes.
    AVDictionary **dictionary() { return &_dictionary; }

    bool isAsked() const { return !_asked.empty(); }

    /// @return which of the user's options were not taken; nothing when all were.
    [[nodiscard]] std::optional<std::string> refused() const;

    /// @return the names of all formats of inputs but @p others, with commas between. Thread-safe.
    [[nodiscard]] static std::string formatsBut(const std::set<std::string> &others);

    /// @return the names of all options that there are for inputs, except for those of devices. Thread-safe.
    [[nodiscard]] static std::vector<std::string> names();

private:
    const std::map<std::string, std::string> _asked;
    AVDictionary *_dictionary = nullptr;
};

#endif
