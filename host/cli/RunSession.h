#ifndef HOST_CLI_RUNSESSION_H
#define HOST_CLI_RUNSESSION_H

#include <map>
#include <memory>
#include <string>

#include "cli/IRunSession.h"

/// The library's session with the handles of its inputs. Thread-bound. Its destructor closes the inputs, and waits for
/// nothing.
class RunSession final : public IRunSession {
public:
    /// @param session outlives it.
    explicit RunSession(decoding::Session &session);

    std::string open(const std::string &url, const decoding::InputOptions &options) override;
    void close(const std::string &name) override;
    bool isFinished(const std::string &name) const override;
    void forget(const std::string &name) override;
    decoding::Snapshot snapshot() const override { return _session.snapshot(); }
    void setMode(decoding::Mode mode) override { _session.setMode(mode); }
    void setGovernor(bool on) override { _session.setGovernor(on); }

private:
    decoding::Session &_session;
    std::map<std::string, std::shared_ptr<decoding::Input>> _inputs; // by name
};

#endif
