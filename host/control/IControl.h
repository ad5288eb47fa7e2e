#ifndef HOST_CONTROL_ICONTROL_H
#define HOST_CONTROL_ICONTROL_H

#include <functional>
#include <optional>
#include <string>

#include <decoding/Mode.h>
#include <decoding/Snapshot.h>

/// What can be done to a running host from outside. Implemented by the host, called by the control server on its own
/// thread; belongs to the host and outlives the server. Texts are UTF-8.
class IControl {
public:
    /// Nothing on success, otherwise one line that names the culprit and says what is wrong.
    using Error = std::optional<std::string>;

    /// What becomes of an operation that may take its time. To be called once, on the thread of the call, from within
    /// it or later; harmless when whoever asked, or the server, is gone by then.
    using Done = std::function<void(const Error &error)>;
    /// @param name that the new input was given; of no meaning with an error.
    using AddDone = std::function<void(const std::string &name, const Error &error)>;

    /// Opens @p url and decodes it beside the other inputs. @param name nothing: the host makes one. A name that is
    /// taken is an error.
    virtual void add(const std::string &url, const std::optional<std::string> &name, const AddDone &done) = 0;

    /// Ends the input of that name, and completes its outputs. The other inputs go on undisturbed.
    virtual void remove(const std::string &name, const Done &done) = 0;

    /// @return the present state of the host, without the inputs that were removed.
    virtual decoding::Snapshot snapshot() = 0;

    /// Switches all decoders that are tuned.
    virtual void setMode(decoding::Mode mode) = 0;

    /// Lets the governor switch modes, or pauses it. Fails when the host was started without one.
    virtual Error setGovernor(bool on) = 0;

    /// Asks for the end of the host, with all outputs complete. Returns before it has come; the server may be destroyed
    /// only afterwards.
    virtual void quit() = 0;

protected:
    IControl() = default;
    IControl(const IControl &) = default;
    IControl &operator=(const IControl &) = default;
    ~IControl() = default;
};

#endif
