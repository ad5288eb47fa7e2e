#ifndef STORM_STORMLEDGER_H
#define STORM_STORMLEDGER_H

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

/// A number that many threads count up. Relaxed, as are all of the storm's own books: they must not order what the
/// component leaves unordered, for that would hide its races from ThreadSanitizer.
class StormTally {
public:
    void operator++() { add(1); }
    /// @return the number before.
    std::int64_t add(std::int64_t more) { return _value.fetch_add(more, std::memory_order_relaxed); }
    operator std::int64_t() const { return _value.load(std::memory_order_relaxed); }

private:
    std::atomic<std::int64_t> _value{0};
};

/// The books of the storm: what was born and what has gone, and everything that went against a promise. Thread-safe.
namespace StormLedger {

/// Notes that a promise was broken. The first ones are kept by their text, all are counted.
void violation(const std::string &what);

/// What was noted since the last take; the last line tells how many there were in all.
std::vector<std::string> takeViolations();

/// Objects of one kind.
struct Count {
    StormTally born;
    StormTally gone;
};

} // namespace StormLedger

/// Base of what must be destroyed exactly once. @tparam Kind whose count it is; has a static text `kindName`.
template <class Kind>
class Counted {
public:
    static StormLedger::Count &count()
    {
        static StormLedger::Count value;
        return value;
    }

protected:
    Counted() { ++count().born; }
    ~Counted()
    {
        if (_canary != alive)
            StormLedger::violation(std::string("a second destruction of ") + Kind::kindName);
        _canary = dead;
        ++count().gone;
    }
    Counted(const Counted &) = delete;
    Counted &operator=(const Counted &) = delete;

private:
    static constexpr std::uint32_t alive = 0xA11FE11AU;
    static constexpr std::uint32_t dead = 0xDEADDEADU;
    volatile std::uint32_t _canary = alive; // volatile: the last value is written for nobody in this object's life
};

#endif
