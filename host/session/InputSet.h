#ifndef HOST_SESSION_INPUTSET_H
#define HOST_SESSION_INPUTSET_H

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "session/InputNames.h"
#include "session/InputRun.h"
#include "session/JobThreads.h"

/// The inputs of a run, which come and go while it lasts. Thread-bound; waits for nothing but in its destructor.
class InputSet final {
public:
    explicit InputSet(const DecodedStream::Environment &environment);
    InputSet(const InputSet &) = delete;
    InputSet &operator=(const InputSet &) = delete;
    /// Cancels what is still running, and completes its outputs.
    ~InputSet();

    /// Begins to open @p input @p copies times; the others once the first one is open.
    /// @return the names of the first one, or one line that says why it is refused.
    std::variant<InputNames::Name, std::string> add(const InputSpec &input, int copies = 1);

    /// Ends the input that is shown as @p name, and forgets it once its outputs are complete. @return whether there is one.
    bool remove(const std::string &name);

    /// Has every input end, with what is decoded so far. No more can be added then.
    void cancel();

    /// Takes the next step of each input. To be called often.
    void poll();

    /// In the order in which they were added, but for those that were removed.
    const std::vector<std::unique_ptr<InputRun>> &inputs() const { return _inputs; }
    /// @return the input that is shown as @p name; null when there is none.
    const InputRun *find(const std::string &name) const;
    /// Whether an input that was shown as @p name was removed and is not finished yet.
    bool isLeaving(const std::string &name) const;
    /// Whether every input has ended, those that were removed included.
    bool isFinished() const;

    /// @return what an operator should be told, since the last call: a line each.
    std::vector<std::string> takeMessages();

private:
    /// Copies of an input that wait for the first one to open.
    struct Copies {
        std::string url;
        const InputRun *first;
        std::vector<InputNames::Name> names;
    };

    void poll(InputRun &input);
    std::shared_ptr<const FileSet> inputFiles();
    void beginCopies();
    void beginCopies(const Copies &copies);
    void forget(const Copies &copies);
    std::vector<std::unique_ptr<InputRun>>::iterator place(const InputRun &input);
    void dropRemoved();

    // Last to end: what the inputs run on.
    // So many stalled files do not hold up others, and so many slow outputs.
    JobThreads _openers{4};
    JobThreads _enders{2};
    const InputRun::Environment _environment;

    InputNames _names;
    std::shared_ptr<const FileSet> _inputFiles; // replaced, never changed: outputs hold on to it; null: to be gathered
    std::vector<std::unique_ptr<InputRun>> _inputs;
    std::vector<std::unique_ptr<InputRun>> _removed; // and not finished yet
    std::vector<Copies> _copies;
    std::vector<std::string> _messages;
    bool _cancelled = false;
};

#endif
