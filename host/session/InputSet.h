#ifndef HOST_SESSION_INPUTSET_H
#define HOST_SESSION_INPUTSET_H

#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "session/Admission.h"
#include "session/InputRun.h"
#include "session/JobThreads.h"
#include "session/Report.h"
#include "session/SessionJobs.h"
#include "sources/InputNames.h"

/// The inputs of a session, which come and go while it lasts. Thread-bound; waits for nothing but in its destructor.
class InputSet final {
public:
    /// How often each input is looked at though it has nothing new, for what nobody tells: that something has been so
    /// for long.
    static constexpr std::chrono::milliseconds usualRoundInterval{1000};

    /// When an input is opened.
    enum class Opening {
        InTurn, // a file that is not paced: when it is its turn, which comes in the order of adding
        AtOnce
    };

    /// @param jobs for the handles of the inputs, and for what is new in these. @param codecThreads never null.
    /// @throws std::system_error when the system has no thread for them.
    InputSet(const DecodedStream::Environment &environment, std::shared_ptr<SessionJobs> jobs,
             std::shared_ptr<CodecThreads> codecThreads, Admission admission,
             std::chrono::milliseconds roundInterval = usualRoundInterval);
    InputSet(const InputSet &) = delete;
    InputSet &operator=(const InputSet &) = delete;
    /// Closes what is still running, and completes its outputs.
    ~InputSet();

    /// Adds @p url. @return what its handle needs, or one line that says why it is refused.
    std::variant<std::shared_ptr<decoding::Input::Core>, std::string>
    add(const std::string &url, decoding::InputOptions options, Opening opening = Opening::InTurn);

    /// Has every input end, with what is decoded so far. No more can be added then.
    void close();

    /// Takes the next step of each input that has something new, now and then of all, and forgets those that have ended
    /// and whose handles have gone. To be called when its jobs ask for it, and after idleTime.
    void poll();
    /// How long nothing need be done as long as there is nothing new; nothing: forever.
    std::optional<std::chrono::milliseconds> idleTime() const;

    /// In the order in which they were added.
    const std::vector<std::unique_ptr<InputRun>> &inputs() const { return _inputs; }
    /// @return the input that @p core belongs to; null when it was forgotten.
    InputRun *find(const decoding::Input::Core &core);
    InputRun *find(quint64 number);
    bool isFinished() const;

    /// @return what is new for people since the last call.
    std::vector<Report> takeMessages();

private:
    using Clock = std::chrono::steady_clock;

    void poll(InputRun &input);
    void identify(quint64 number, const std::string &path);
    void admit(Clock::time_point now);
    void giveUpShortages(Clock::time_point now);
    void watch();
    void forgetLeft();

    // Last to end: what the inputs run on.
    static constexpr std::chrono::milliseconds openingPatience{50}; // with disks that hang, once all feeds have ended
    JobThreads _reserve{"Reserve", openingPatience};
    const std::shared_ptr<InputFiles> _inputFiles = std::make_shared<InputFiles>();
    JobThreads _identifiers{"Identifier", 2, _reserve, openingPatience}; // of these
    // Threads of their own: a disk that hangs answers what a file is, but does not open it.
    JobThreads _checkers{"Checker", 2, _reserve, openingPatience}; // whether queued files can be opened
    // So many stalled files do not hold up others, and so many silent servers.
    JobThreads _openers{"Opener", 4, _reserve, openingPatience};
    JobThreads _remoteOpeners{"RemoteOpener", 16, _reserve, openingPatience};
    JobThreads _enders{"Ender", 4, _reserve}; // so many files on a disk that hangs hold up no others
    JobThreads _remoteEnders{"RemoteEnder", 16, _reserve};
    const InputRun::Environment _environment;
    const std::shared_ptr<SessionJobs> _jobs;
    const std::chrono::milliseconds _roundInterval;

    InputNames _names;
    std::vector<std::unique_ptr<InputRun>> _inputs;
    Admission _admission;
    std::deque<quint64> _queued; // inputs whose turn has not come, and some that have left or were opened meanwhile
    std::vector<Report> _messages;
    quint64 _lastNumber = 0;                      // of an input; they rise
    std::optional<Clock::time_point> _roundAt;    // of the last one
    std::optional<Clock::time_point> _watchedAt;  // of the last time
    std::optional<Clock::time_point> _shortSince; // all that is left waits for threads or descriptors
    std::vector<quint64> _unwatched;              // inputs that were polled since, once or more
    bool _isAnyLeft = false;                      // of the inputs, for good
    bool _closed = false;
};

#endif
