#ifndef HOST_SESSION_INPUTTROUBLES_H
#define HOST_SESSION_INPUTTROUBLES_H

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "session/Report.h"
#include <decoding/Snapshot.h>

/// What is reported of one input, each error once, and what went wrong with it last. Thread-bound.
class InputTroubles final {
public:
    /// @param inputName for people, which the texts begin with.
    explicit InputTroubles(const std::string &inputName);

    /// To be given out.
    void add(std::vector<Report> reports);
    /// Adds those of @p errors that were not reported.
    void addUnreported(const std::vector<std::string> &errors);
    /// @return what is new since the last call.
    std::vector<Report> take();

    /// @p error is wrong with the input at present.
    void note(const std::string &error);
    /// As Snapshot::Input::lastError.
    const std::optional<decoding::Snapshot::Trouble> &last() const { return _last; }

private:
    const std::string _prefix;
    std::vector<Report> _reports;
    std::set<std::string> _reportedErrors;
    std::optional<decoding::Snapshot::Trouble> _last;
};

#endif
