#ifndef BENCH_DECODINGTASK_H
#define BENCH_DECODINGTASK_H

#include <string>
#include <variant>
#include <vector>

#include "Clip.h"
#include "FrameCount.h"
#include "ResourceUse.h"

/// What both sides of a comparison are to do.
struct DecodingTask {
    int streamCount = 1;
    int threadCount = 1; // that decode
    bool paced = false;  // to 25 frames a second, the streams evenly spread over one frame's time
    bool timeSaving = false;
    int burstMs = 0;           // the component only: bursts of packets that take so long; 0: packet by packet
    bool checking = false;     // take checksums of all frames
    bool wholeStreams = false; // the bare loop only: each stream to its end before the next one
};

/// What one side took for it, from the creation of the first codec to the last frame of the last stream.
struct DecodingResult {
    double processorSeconds = 0;
    double wallSeconds = 0;
    std::vector<FrameCount> streams;
};

#endif
