#ifndef HOST_SESSION_RUNOBSERVER_H
#define HOST_SESSION_RUNOBSERVER_H

#include <chrono>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "indications/IndicationManager.h"
#include "interfaces/ITuneDecoding.h"
#include "session/DecodingMode.h"
#include "session/InputSet.h"
#include "terminal/BoardState.h"

/// Sees how a run is going: gathers from its parts what the board shows and what requests ask for. Thread-bound; time is
/// passed in and never goes back.
class RunObserver final {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// One stream; or one input that has none yet, or never had.
    struct Stream {
        std::string input;
        std::string kind; // "video" or "audio"; empty without a stream
        BoardState::Row row;
    };

    /// All outlive the observer. @param indications null where nobody looks at the lights.
    /// @param isTuned whether switches of the mode reach the decoders.
    RunObserver(const InputSet &inputs, const IndicationManager *indications, ITuneDecoding &tuning, bool isTuned,
                Instant startedAt);

    // What nobody can be asked for; to be told when it changes.
    void setMode(DecodingMode mode) { _mode = mode; }
    void setLoad(double load, Instant now);
    void setGovernor(const std::string &status) { _governor = status; }
    void addMessage(const std::string &message);

    DecodingMode mode() const { return _mode; }
    double load() const { return _load; }
    const std::string &governor() const { return _governor; }
    std::chrono::milliseconds running(Instant now) const;

    /// In the order of the inputs. The frames in a second are those of the last second or so, or of the time
    /// since the last frame but one.
    std::vector<Stream> streams(Instant now);
    BoardState boardState(Instant now);

private:
    struct Rate {
        Instant since;
        qint64 framesSince = 0;
        std::optional<double> framesPerSecond; // of the time before `since`
    };
    /// What the indications tell of one decoder.
    struct Decoder {
        BoardState::Lights lights = {Light::Black, Light::Black, Light::Black, Light::Black,
                                     Light::Black, Light::Black, Light::Black};
        std::string threadName;
    };
    using Decoders = std::map<std::string, Decoder>; // by name

    Decoders decoders() const;
    BoardState::Row row(const InputRun::StreamView &stream, const Decoders &decoders, Instant now);
    std::optional<double> framesPerSecond(const std::string &origin, qint64 frames, Instant now);
    void forgetRatesOfOthers(const std::vector<Stream> &streams);

    const InputSet &_inputs;
    const IndicationManager *const _indications;
    ITuneDecoding &_tuning;
    const bool _isTuned;
    const Instant _startedAt;

    DecodingMode _mode = DecodingMode::Performance;
    double _load = std::numeric_limits<double>::quiet_NaN();
    LoadHistory _loadHistory;
    std::string _governor;
    std::vector<std::string> _messages; // the last ones
    std::map<std::string, Rate> _rates;
};

#endif
