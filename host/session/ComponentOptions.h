#ifndef HOST_SESSION_COMPONENTOPTIONS_H
#define HOST_SESSION_COMPONENTOPTIONS_H

#include <optional>
#include <string>

/// The component takes any number of threads: a mistyped one would use up the machine.
constexpr int maxThreads = 1024;

/// Which component to run, and with what settings.
struct ComponentOptions {
    std::optional<std::string> libraryFile;  // without one, the component that belongs to the program
    std::optional<std::string> settingsFile; // INI
    std::optional<int> threads;
};

#endif
