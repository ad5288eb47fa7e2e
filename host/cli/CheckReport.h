#ifndef HOST_CLI_CHECKREPORT_H
#define HOST_CLI_CHECKREPORT_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

/// What `check` has seen of the component, for people and for programs.
struct CheckReport {
    struct Publication {
        std::string identifier;
        std::vector<std::string> interfaces;
    };

    std::string componentName;
    std::string componentPath;
    std::vector<Publication> published; // by the component, while it ran
    std::vector<int> threads;           // started by the component, as the system counts them

    // After the component was stopped and everything was dropped.
    std::vector<std::string> stillPublished;
    std::vector<int> threadsLeft;
    std::map<std::string, std::size_t> objectsLeft; // by type

    /// Whether the component left nothing behind.
    bool isClean() const { return stillPublished.empty() && threadsLeft.empty() && objectsLeft.empty(); }

    std::string toText() const;
    std::string toJson() const;
};

#endif
