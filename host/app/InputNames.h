#ifndef HOST_APP_INPUTNAMES_H
#define HOST_APP_INPUTNAMES_H

#include <set>
#include <string>

#include "app/InputSpec.h"

/// Gives every input of a run names that no other one has. Reentrant.
class InputNames final {
public:
    struct Name {
        std::string shown; // in reports: the file name, "clip.mp4", "clip.mp4 (2)", or "10.0.0.5/1"
        std::string stem;  // of output files: "clip", "clip-2", or "10.0.0.5-1"
    };

    /// Made of the name that the user gave the input. Without one, a live source is known by its URL without the scheme
    /// and what may be secret in it: user name, password and query.
    Name next(const InputSpec &input);

    /// The shown name may be given again; the stem never is, so that no later input overwrites the output files.
    void release(const Name &name);
    bool isShown(const std::string &shown) const { return _shown.count(shown) > 0; }

private:
    static std::string unique(const std::string &wanted, const char *suffix, std::set<std::string> &taken);

    std::set<std::string> _shown;
    std::set<std::string> _stems;
};

#endif
