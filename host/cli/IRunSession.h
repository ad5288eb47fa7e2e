#ifndef HOST_CLI_IRUNSESSION_H
#define HOST_CLI_IRUNSESSION_H

#include <string>

#include <decoding/Session.h>

/// A decoding session as a run uses it: its inputs are known by their names, as people and requests name them.
/// Thread-bound.
class IRunSession {
public:
    /// Begins to open @p url. @return the new input's name.
    /// @throws decoding::Error when the name is taken, or an option is out of its range.
    virtual std::string open(const std::string &url, const decoding::InputOptions &options) = 0;
    /// Ends an input, which is still there until it is forgotten.
    virtual void close(const std::string &name) = 0;
    /// Whether the input has ended and all that it wrote is complete.
    virtual bool isFinished(const std::string &name) const = 0;
    /// Lets go of an input that is finished: its name may be given again.
    virtual void forget(const std::string &name) = 0;

    /// @return the present state, with every input that was not forgotten.
    virtual decoding::Snapshot snapshot() const = 0;

    virtual void setMode(decoding::Mode mode) = 0;
    /// @throws decoding::Error when there is no governor.
    virtual void setGovernor(bool on) = 0;

protected:
    IRunSession() = default;
    IRunSession(const IRunSession &) = default;
    IRunSession &operator=(const IRunSession &) = default;
    ~IRunSession() = default;
};

#endif
