#ifndef HOST_TERMINAL_BOARDSTATE_H
#define HOST_TERMINAL_BOARDSTATE_H

#include <QtGlobal>

#include <array>
#include <chrono>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "indications/Light.h"
#include "terminal/LoadHistory.h"

/// What the board shows at one moment: plain values, taken by whoever runs the streams. Texts are UTF-8 and may hold
/// anything; the board keeps control characters from the terminal.
struct BoardState {
    /// The lights of a decoder, in the order in which it creates its indications.
    enum LightIndex { ModeLight, LostLight, CycleLight, LatencyLight, KeyBlockLight, NullBlockLight, PushedLight };
    static constexpr std::size_t lightCount = 7;
    using Lights = std::array<Light, lightCount>;

    /// One stream.
    struct Row {
        enum class State {
            Connecting,
            Running,
            /// Its connection was lost, and is to be made again.
            Waiting,
            Ended,
            Failed
        };
        enum class Mode {
            Performance,
            TimeSaving,
            /// Left out of tuning: always in performance mode.
            Fixed
        };

        std::string name; // by it the selection finds the stream again
        State state = State::Connecting;
        std::optional<Lights> lights; // nothing while there is no decoder
        qint64 frames = 0;
        std::optional<double> framesPerSecond; // lately; nothing while it cannot be told yet
        qint64 lost = 0;
        std::optional<qint64> latencyMs;
        std::optional<qint64> worstLatencyMs;
        Mode mode = Mode::Performance;
        std::string trouble; // one line, empty when there is none
        std::string threadName;
    };

    struct Thread {
        std::string name;
        int decoders = 0;
    };

    double cpuLoad = std::numeric_limits<double>::quiet_NaN(); // 1.0: every core decodes all the time
    LoadHistory loadHistory;
    int decoderCount = 0;
    bool performanceMode = true;
    std::string governor; // what switches the mode by itself and when, in a few words; empty when nothing does
    std::vector<Thread> threads;
    std::vector<Row> rows;
    std::vector<std::string> messages; // the last ones, the newest at the end
    std::chrono::milliseconds running{0};
};

#endif
