#ifndef HOST_SOURCES_INPUTNAMES_H
#define HOST_SOURCES_INPUTNAMES_H

#include <map>
#include <set>
#include <string>

/// Gives every input of a run names that no other one has. Reentrant.
class InputNames final {
public:
    struct Name {
        std::string shown; // in reports: the file name, "clip.mp4", "clip.mp4 (2)", or "10.0.0.5/1"
        std::string stem;  // of output files: "clip", "clip-2", or "10.0.0.5-1"; others may have it that write none
    };

    /// Made of the name that the user gave the input. Without one, a live source is known by its URL without the scheme
    /// and what may be secret in it; any other one by the file that it names. See ShownUrl.
    /// @param name that the user gave; empty: none. @param writesFiles whether it needs a stem of its own.
    Name next(const std::string &address, const std::string &name, bool writesFiles = true);

    /// The shown name may be given again; the stem never is, so that no later input overwrites the output files.
    void release(const Name &name);
    /// Whether another input is shown by what the user gave as @p name.
    bool isTaken(const std::string &name) const;

private:
    static std::string shownName(const std::string &name);
    std::string nextShown(const std::string &wanted);
    std::string nextStem(const std::string &wanted);
    bool wasGiven(const std::string &stem) const;

    std::set<std::string> _shown;
    /// By each stem that was asked for, the highest number behind it that was given; 1 stands for none. So an input
    /// that comes and goes for years takes no more room than the first time, and one that writes nothing takes none.
    std::map<std::string, int> _stems;
};

#endif
