#ifndef TESTS_HOST_UNREST_UNRESTOPERATORS_H
#define TESTS_HOST_UNREST_UNRESTOPERATORS_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "Chance.h"

/// People who add inputs to a host and remove them, each on a thread and without asking the others. Every answer must
/// come in time; a refusal is an answer.
class UnrestOperators final {
public:
    struct Target {
        std::string name;
        std::string url;
        bool isKept = false; // until all are removed
    };

    /// @param socket of the host.
    UnrestOperators(std::string socket, std::vector<Target> targets, std::uint64_t seed);
    ~UnrestOperators() { end(); }
    UnrestOperators(const UnrestOperators &) = delete;
    UnrestOperators &operator=(const UnrestOperators &) = delete;

    /// From now until end(), they add all, and then add and remove what comes to their mind.
    void begin();
    void end();

    /// Together they remove all; returns when it is done.
    void removeAll();

    /// Whether there is such an input, and none of them removes it between begin() and end().
    bool isKept(const std::string &name) const;

    /// How often something was done, and refused.
    int done() const { return _done; }
    int refused() const { return _refused; }

private:
    using Words = std::vector<std::string>;

    void work(Chance chance);
    void ask(const Words &words);

    const std::string _socket;
    const std::vector<Target> _targets;
    Chance _chance;
    std::vector<std::thread> _threads;
    std::atomic<std::size_t> _next{0}; // to be added or removed by whoever is free
    std::atomic<bool> _ending{false};
    std::atomic<int> _done{0};
    std::atomic<int> _refused{0};
};

#endif
