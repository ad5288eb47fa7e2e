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
    bool checking = false; // take checksums of all frames

    // The bare loop only:
    bool wholeStreams = false; // each stream to its end before the next one

    // The component only:
    int burstMs = 0;   // bursts of packets that take so long; 0: packet by packet
    int liveBurst = 0; // the pictures come at 25 a second, and so many wait for each other; 0: all are there at once
};

/// What one side took for it, from the creation of the first codec to the last frame of the last stream.
struct DecodingResult {
    double processorSeconds = 0;
    double wallSeconds = 0;
    std::vector<FrameCount> streams;
};

#endif
