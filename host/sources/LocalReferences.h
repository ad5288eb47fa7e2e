#ifndef HOST_SOURCES_LOCALREFERENCES_H
#define HOST_SOURCES_LOCALREFERENCES_H

#include <string>
#include <variant>

/// What a playlist that is a local file may name: files that lie in its own folder, or in folders in it, and nothing
/// else, whatever links lead there. Thread-safe; constant.
class LocalReferences final {
public:
    /// Why a reference is not followed.
    struct Refusal {
        std::string what; // in words that go behind the name of the playlist; empty when there is no such file
    };

    /// @param playlist its path.
    explicit LocalReferences(const std::string &playlist);

    /// @param url what the playlist names, as libavformat is about to open it.
    /// @return what to open for it, which means one thing only, or why not.
    [[nodiscard]] std::variant<std::string, Refusal> follow(const std::string &url) const;

private:
    const std::string _folder; // without links, and with a slash at its end
};

#endif
