#ifndef HOST_APP_INPUTNAMES_H
#define HOST_APP_INPUTNAMES_H

#include <set>
#include <string>

/// Gives every input of a run names that no other one has. Reentrant.
class InputNames final {
public:
    struct Name {
        std::string shown; // in reports: the file name, "clip.mp4", "clip.mp4 (2)"
        std::string stem;  // of output files: "clip", "clip-2"
    };

    /// @param url a file, or something with "://" in it.
    Name next(const std::string &url);

private:
    static std::string unique(const std::string &wanted, const char *suffix, std::set<std::string> &taken);

    std::set<std::string> _shown;
    std::set<std::string> _stems;
};

#endif
