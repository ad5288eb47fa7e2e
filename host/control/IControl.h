#ifndef HOST_CONTROL_ICONTROL_H
#define HOST_CONTROL_ICONTROL_H

#include <QtGlobal>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "session/DecodingMode.h"

/// What can be done to a running host from outside. Implemented by the host, called by the control server on its own
/// thread; belongs to the host and outlives the server. Texts are UTF-8.
class IControl {
public:
    /// Nothing on success, otherwise one line that names the culprit and says what is wrong.
    using Error = std::optional<std::string>;

    /// What becomes of an operation that may take its time. To be called once, on the thread of the call, from within it
    /// or later; harmless when whoever asked, or the server, is gone by then.
    using Done = std::function<void(const Error &error)>;
    /// @param name that the new input was given; of no meaning with an error.
    using AddDone = std::function<void(const std::string &name, const Error &error)>;

    struct Stream {
        std::string input; // its name, which `remove` takes
        std::string kind;  // "video" or "audio"; empty for an input without streams
        std::string state; // one word for each state that the host knows, such as "running" or "ended"
        qint64 frames = 0; // decoded
        double framesPerSecond = 0.0;
        qint64 lostBlocks = 0;
        std::optional<std::chrono::milliseconds> latency;      // nothing as long as no block was read
        std::optional<std::chrono::milliseconds> worstLatency; // since the stream's start
        DecodingMode mode = DecodingMode::Performance;
    };

    struct Status {
        std::chrono::milliseconds running{0}; // since the host's start
        int inputs = 0;
        int streams = 0;
        double cpuLoad = 0.0; // as the component tells it: it may be infinite or not a number
        DecodingMode mode = DecodingMode::Performance;
        std::string governor; // a short text, empty when there is no governor
    };

    /// Opens @p url and decodes it beside the other inputs. @param name nothing: the host makes one. A name that is taken
    /// is an error.
    virtual void add(const std::string &url, const std::optional<std::string> &name, const AddDone &done) = 0;

    /// Ends the input of that name, and completes its outputs. The other inputs go on undisturbed.
    virtual void remove(const std::string &name, const Done &done) = 0;

    /// @return all streams, those of an input one after the other; and each input that has none.
    virtual std::vector<Stream> list() = 0;

    virtual Status status() = 0;

    /// Switches all decoders that are tuned.
    virtual void setMode(DecodingMode mode) = 0;

    /// Lets the governor switch modes, or pauses it. Fails when the host was started without one.
    virtual Error setGovernor(bool on) = 0;

    /// Asks for the end of the host, with all outputs complete. Returns before it has come; the server may be destroyed only
    /// afterwards.
    virtual void quit() = 0;

protected:
    IControl() = default;
    IControl(const IControl &) = default;
    IControl &operator=(const IControl &) = default;
    ~IControl() = default;
};

#endif
