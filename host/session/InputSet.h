#ifndef HOST_SESSION_INPUTSET_H
#define HOST_SESSION_INPUTSET_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "session/InputRun.h"
#include "session/JobThreads.h"
#include "session/Report.h"
#include "session/SessionJobs.h"
#include "sources/InputNames.h"

/// The inputs of a session, which come and go while it lasts. Thread-bound; waits for nothing but in its destructor.
class InputSet final {
public:
    /// @param jobs for the handles of the inputs.
    InputSet(const DecodedStream::Environment &environment, std::shared_ptr<SessionJobs> jobs);
    InputSet(const InputSet &) = delete;
    InputSet &operator=(const InputSet &) = delete;
    /// Closes what is still running, and completes its outputs.
    ~InputSet();

    /// Begins to open @p url. @return what its handle needs, or one line that says why it is refused.
    std::variant<std::shared_ptr<decoding::Input::Core>, std::string> add(const std::string &url,
                                                                          decoding::InputOptions options);

    /// Has every input end, with what is decoded so far. No more can be added then.
    void close();

    /// Takes the next step of each input, and forgets those that have ended and whose handles have gone. To be called
    /// often, as long as hasWork.
    void poll();
    /// Whether there is an input that may take a step.
    bool hasWork() const;

    /// In the order in which they were added.
    const std::vector<std::unique_ptr<InputRun>> &inputs() const { return _inputs; }
    /// @return the input that @p core belongs to; null when it was forgotten.
    InputRun *find(const decoding::Input::Core &core);
    bool isFinished() const;

    /// @return what is new for people since the last call.
    std::vector<Report> takeMessages();

private:
    void poll(InputRun &input);
    void watch();
    std::shared_ptr<const FileSet> inputFiles();
    void forgetLeft();

    // Last to end: what the inputs run on.
    // So many stalled files do not hold up others, and so many slow outputs.
    JobThreads _openers{4};
    JobThreads _enders{2};
    const InputRun::Environment _environment;
    const std::shared_ptr<SessionJobs> _jobs;

    InputNames _names;
    std::shared_ptr<const FileSet> _inputFiles; // replaced, never changed: outputs hold on to it; null: to be gathered
    std::vector<std::unique_ptr<InputRun>> _inputs;
    std::vector<Report> _messages;
    std::optional<std::chrono::steady_clock::time_point> _watchedAt;
    bool _closed = false;
};

#endif
