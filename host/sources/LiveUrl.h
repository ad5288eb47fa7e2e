#ifndef HOST_SOURCES_LIVEURL_H
#define HOST_SOURCES_LIVEURL_H

#include <string>
#include <vector>

struct AVInputFormat;

/// The address of a live source, and how libavformat is to open it. A value; reentrant, once made.
class LiveUrl final {
public:
    struct Option {
        const char *name;
        const char *value;
    };

    /// Whether @p url names something that never ends and cannot be made to wait: `rtsp`, `rtsps`, `rtp`, `srtp`,
    /// `udp`, `srt`, `rtmp`, `rtmps` or `tcp` before "://", `lavfi:` and a graph of libavfilter, or `v4l2:` and a video
    /// device, in small letters or large ones. Files, pipes and what comes over `http` are not: they are read to the
    /// end, as fast as the decoders take them. A file whose name begins so is given with its directory.
    static bool isLive(const std::string &url);

    /// @param url for which isLive answers true.
    explicit LiveUrl(const std::string &url);

    /// The url as it may be shown to people: see ShownUrl::withoutSecrets.
    const std::string &shown() const { return _shown; }

    /// What libavformat is to open, byte for byte except the scheme, and as what; null where it finds that out itself,
    /// and for a device where libavdevice cannot be loaded.
    const std::string &name() const { return _name; }
    const AVInputFormat *format() const { return _format; }

    /// To be given to libavformat. What the url's own parameters say goes first.
    std::vector<Option> options() const;

    /// It is made here as it is asked for, as fast as the machine can: it must be held back to the pace of its times.
    bool isGenerated() const { return _scheme == "lavfi"; }
    /// A device: it tells all about its streams at once, and is asked without waiting.
    bool isDevice() const { return _scheme == "v4l2"; }
    /// It waits for whoever sends, so that opening it again troubles nobody.
    bool isListening() const;
    /// It keeps a port open, and is open itself once somebody has called.
    bool isServer() const;

    /// Whether an attempt to open it that failed with libavformat's @p error would fail each time: there is no such
    /// protocol, format or graph, or the server refuses. A camera may lock the account after some wrong passwords.
    /// @param hasConnected it was open before: then what the server does not know now may come back to it.
    bool isHopeless(int error, bool hasConnected) const;

private:
    std::string _scheme; // in small letters
    std::string _query;  // behind the question mark
    std::string _name;
    std::string _shown;
    const AVInputFormat *_format = nullptr;
};

#endif
