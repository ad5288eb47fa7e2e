#ifndef HOST_SOURCES_LIVEURL_H
#define HOST_SOURCES_LIVEURL_H

#include <optional>
#include <string>
#include <vector>

#include "sources/InputAccess.h"

struct AVInputFormat;

/// The address of a live source, and how libavformat is to open it. A value; reentrant, once made.
class LiveUrl final {
public:
    struct Option {
        std::string name;
        std::string value;
    };

    /// How a session description begins.
    static constexpr const char *descriptionBegin = "v=0";

    /// Whether @p url names something that never ends and cannot be made to wait: `rtsp`, `rtsps`, `rtp`, `srtp`,
    /// `udp`, `srt`, `rtmp`, `rtmps` or `tcp` before "://", `lavfi:` and a graph of libavfilter, `v4l2:` and a video
    /// device, `sdp:` and a session description of what comes by RTP, `hls:` and a playlist, or `live:` and an address
    /// of `http` or `https`, in small letters or large ones. Files, pipes and what comes over plain `http` are not:
    /// they are read to the end, as fast as the decoders take them. A file whose name begins so is given with its
    /// directory.
    static bool isLive(const std::string &url);

    /// @return the path of the file that @p url, live or not, names, if it names one; else @p url.
    static std::string pathOf(const std::string &url);

    /// @param url for which isLive answers true.
    explicit LiveUrl(const std::string &url, InputAccess access = {});

    /// The url as it may be shown to people: see ShownUrl::withoutSecrets.
    const std::string &shown() const { return _shown; }

    /// What libavformat is to open, byte for byte except the scheme, and as what; null where it finds that out itself,
    /// and for a device where libavdevice cannot be loaded.
    const std::string &name() const { return _name; }
    const AVInputFormat *format() const { return _format; }

    const InputAccess &access() const { return _access; }

    /// To be given to libavformat. What the url's own parameters say goes first, and the user's options.
    std::vector<Option> options() const;

    /// Whether libavdevice reads it.
    bool isOfDevice() const { return isDevice() || isGenerated(); }
    /// Whether it can be opened as its format alone.
    bool needsFormat() const { return isOfDevice() || isDescription() || isPlaylist(); }

    /// @return the path of the file that it is; nothing when it is no file.
    const std::optional<std::string> &path() const { return _path; }
    /// @return what is wrong with the address, or the file that it names, in words that go behind a name.
    std::optional<std::string> obstacle() const;

    /// It is made here as it is asked for, as fast as the machine can: it must be held back to the pace of its times.
    bool isGenerated() const { return _scheme == "lavfi"; }
    /// A device: it tells all about its streams at once, and is asked without waiting.
    bool isDevice() const { return _scheme == "v4l2"; }
    /// It says what is sent where, by RTP.
    bool isDescription() const { return _scheme == "sdp"; }
    /// It names parts, and goes on.
    bool isPlaylist() const { return _scheme == "hls"; }
    /// It waits for whoever sends, so that opening it again troubles nobody.
    bool isListening() const;
    /// It keeps a port open, and is open itself once somebody has called.
    bool isServer() const;

    /// Whether an attempt to open it that failed with libavformat's @p error would fail each time: there is no such
    /// protocol, format or graph, or the server refuses. A camera may lock the account after some wrong passwords.
    /// @param hasConnected it was open before: then what the server does not know now may come back to it.
    bool isHopeless(int error, bool hasConnected) const;

private:
    bool hasParameter(const std::string &name, const std::string &value) const;

    InputAccess _access;
    std::string _scheme; // in small letters
    std::string _query;  // behind the question mark
    std::string _name;
    std::optional<std::string> _path; // of the file that it is
    std::string _shown;
    const AVInputFormat *_format = nullptr;
};

#endif
