#ifndef HOST_SOURCES_STREAMSEARCH_H
#define HOST_SOURCES_STREAMSEARCH_H

struct AVFormatContext;

/// Finds out about the streams of an input that is open, as libavformat does it, with less computing: libavformat
/// decodes pictures only to learn what they are like.
///
/// Of H.264 and HEVC in MP4 files the header tells that, so no picture is decoded. It is compared with what
/// libavformat's parser reads in the stream; where that says otherwise, the file must be opened anew, and looked at
/// whole. Other pictures are decoded without the filter that smooths them, since nobody sees them. Reentrant.
class StreamSearch final {
public:
    /// @param mayOpenAgain whether the input can be opened a second time, so that its header may be trusted at first.
    explicit StreamSearch(bool mayOpenAgain)
        : _trustsHeader(mayOpenAgain)
    {
    }

    /// To be called once. @return 0 or more, or libavformat's error.
    [[nodiscard]] int run(AVFormatContext &context);
    /// Whether what was found out may be wrong.
    [[nodiscard]] bool wasMisled() const { return _wasMisled; }

private:
    const bool _trustsHeader;
    bool _wasMisled = false;
};

#endif
