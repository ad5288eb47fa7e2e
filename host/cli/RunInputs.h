#ifndef HOST_CLI_RUNINPUTS_H
#define HOST_CLI_RUNINPUTS_H

#include <cstdint>
#include <string>
#include <vector>

#include "cli/IRunSession.h"
#include "cli/InputSpec.h"
#include "cli/RunMessages.h"

/// The inputs of a run, which come and go while it lasts. Thread-bound; waits for nothing.
class RunInputs final {
public:
    /// Session and messages outlive it. @param options of every input, without a name.
    RunInputs(IRunSession &session, RunMessages &messages, decoding::InputOptions options);

    /// Begins to open @p input @p copies times; the others once the first one is open. @return the first one's name.
    /// @throws decoding::Error that says why it is refused.
    std::string add(const InputSpec &input, int copies = 1);

    /// Ends the input of this name, and forgets it once it is finished. @return whether there is one.
    bool remove(const std::string &name);

    /// Has every input end, with what is decoded so far. No more can be added then.
    void close();

    /// Begins copies and forgets what was removed, as soon as that can be. To be called often.
    void poll();

    /// Whether there is an input of this name that was not removed.
    bool contains(const std::string &name) const;
    /// Whether an input of this name was removed and is not forgotten yet.
    bool isLeaving(const std::string &name) const;
    /// Whether every input is finished, those that were removed included, and no other one is to follow.
    bool isFinished() const;

    /// @return the session with its inputs in the order in which they were added, copies beside their first one,
    ///         without those that were removed; and with all messages of the run.
    decoding::Snapshot snapshot() const;

    /// @return what failed of the outputs of inputs that were removed and are forgotten by now, a line each: the first
    ///         ones, where there are very many.
    const std::vector<std::string> &outputErrorsOfRemoved() const { return _outputErrors; }

    /// Whether something of the input is or was decoded, or may be at any time: a live one is tried on and on, unless
    /// that makes no sense.
    static bool isOpen(const decoding::Snapshot::Input &input);

private:
    /// Copies of an input that wait for the first one to open.
    struct Copies {
        std::string first; // its name
        InputSpec input;
        int count;
    };

    /// An input that was removed and is not finished yet.
    struct Leaving {
        std::string name;
        bool wasOpen = false;
        std::int64_t frames = 0;
        std::vector<std::string> outputErrors;
    };

    std::string open(const InputSpec &input);
    void beginCopies();
    void beginCopies(const Copies &copies);
    void forgetRemoved();
    std::string nextName(const std::string &name) const;
    static void note(const decoding::Snapshot &snapshot, Leaving &leaving);

    IRunSession &_session;
    RunMessages &_messages;
    const decoding::InputOptions _options;
    std::vector<std::string> _names; // of the inputs, except for those that were removed
    std::vector<Copies> _copies;
    std::vector<Leaving> _leaving;
    std::vector<std::string> _outputErrors; // of those that have left
    bool _isClosing = false;
};

#endif
