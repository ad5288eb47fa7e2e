#ifndef DECODING_INPUT_H
#define DECODING_INPUT_H

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <decoding/Export.h>
#include <decoding/FrameReader.h>
#include <decoding/Output.h>

namespace decoding {

/// How an input is to be decoded. Opening throws Error for what is out of its range; durations are from 1 ms to 100
/// years.
struct InputOptions {
    /// By which snapshots and errors call it; no two inputs of a session have the same. Empty: made of the file name,
    /// or of the address without what is secret in it.
    std::string name;
    /// Which of its streams are of interest, one at least: at most one of each kind is decoded.
    bool video = true;
    bool audio = true;
    /// Decode a file in its own time rather than as fast as it is read, whatever happens to the wall clock; what a
    /// reader has held up is caught up on. Live inputs always come in theirs.
    bool paced = false;
    /// Decode those pictures only that need no other one, whatever mode the session is in.
    bool keyFramesOnly = false;
    /// Leave it in performance mode when the session switches to time-saving mode.
    bool excludeFromTuning = false;
    /// How often a file is read, one time after the other; at least 1.
    int repeat = 1;
    /// Leave out what comes so much later than the beginning; a live input ends so long after it was opened.
    std::optional<std::chrono::milliseconds> duration;
    /// Of a live input: what has waited longer for its decoder is dropped, up to the next key block.
    std::chrono::milliseconds maxLatency{400};
    /// Packets that are decoded in one go, at most, before it is another stream's turn; 0 or more. Of a file, 0 means
    /// as many as are good for speed, and few beside live or paced inputs of the session; never more than all who take
    /// the frames have room for. A live input is decoded packet by packet with 0 or 1; with more, its pictures wait for
    /// each other until there are so many, a second at most. What takes longer than a tenth of a second is decoded in
    /// several goes in any case, and paced files packet by packet.
    int burst = 0;
    /// A live input from which nothing has come for so long is taken for lost, and a file that comes over the network
    /// fails; more than 0. Nothing: 5 seconds for the one, 30 for the other.
    std::optional<std::chrono::milliseconds> stallLimit;
    /// How long to wait before a lost live input is connected to again. Each further wait is twice as long, up to the
    /// last, and all of them vary by a third. The first is more than 0, the last not less.
    std::chrono::milliseconds firstRetryDelay{500};
    std::chrono::milliseconds lastRetryDelay{30000};
    /// libavformat's own options for the input, by their names. One that it does not take is an error of the input.
    std::map<std::string, std::string> formatOptions;
    /// Whether a playlist that is a local file may name any file and address. Else it may name what lies in its own
    /// folder, or in folders in it.
    bool mayNameAnything = false;
    /// Frames that wait for each reader; at least 1. Of a live input, no fewer than `burst`.
    int queuedFrames = 8;
    /// What the library writes by itself. With any, decoding begins at once, video and audio of a file go on together,
    /// and a kind of stream that no output takes is left out.
    ///
    /// What an output cannot take at once, a file waits for, and nobody else does; with a live input, that output drops
    /// it. An output that cannot be written any more only counts, and has an error. No two of them may write the same
    /// file, nor may one take none of the streams of interest.
    std::vector<Output> outputs;
    /// Replace the files that a live input was written to before, rather than take the next free names. Those of other
    /// inputs, which can be made again, are replaced in any case.
    bool overwrite = false;
};

/// One file or live source that a session decodes. Thread-safe. Destroying the last reference to it closes it, and
/// destroys its own readers: to do so while another thread uses these is an error; `close` wakes who waits in a reader.
/// A reference may outlive the session, which has closed it then.
class DECODING_EXPORT Input {
public:
    const std::string &name() const;

    /// Whether a stream of the kind is there and of interest. Constant for files; a live input gets its streams when it
    /// connects.
    bool hasVideo() const;
    bool hasAudio() const;

    /// The input's own readers; there is no decoder for a stream that nobody reads. Each belongs to the input, is made
    /// by the first call and stays: a file waits for it as for every other reader (see FrameReader), so whoever leaves
    /// off reading while others go on takes a reader from addVideoReader or addAudioReader, and destroys that.
    /// @throws Error when a file has no such stream, or it is not of interest.
    FrameReader<VideoFrame> &video();
    FrameReader<AudioFrame> &audio();

    /// @return one more reader of the same stream, which is decoded once for all of them. May outlive the input.
    /// @throws Error as above.
    std::unique_ptr<FrameReader<VideoFrame>> addVideoReader();
    std::unique_ptr<FrameReader<AudioFrame>> addAudioReader();

    /// @return what is wrong with it, in one line that names it: what has ended it too early, or why a live input is
    ///         waiting.
    std::optional<std::string> error() const;

    /// Ends it: its readers get nothing more. Returns at once; what was written is completed meanwhile, and a second
    /// call does nothing.
    void close();

    /// @return whether it has ended, or was closed, and has let go of everything: its source is closed, and all that it
    ///         wrote is complete.
    bool isFinished() const;
    /// Waits for that, @p timeout at most. @return isFinished(). Not for callbacks of this input.
    bool waitUntilFinished(std::chrono::milliseconds timeout) const;

    class Core;
    /// Inputs are made by sessions.
    explicit Input(std::shared_ptr<Core> core);
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;
    /// Closes it.
    ~Input();

private:
    const std::shared_ptr<Core> _core;
};

} // namespace decoding

#endif
