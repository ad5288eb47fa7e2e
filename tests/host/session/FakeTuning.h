#ifndef TESTS_HOST_SESSION_FAKETUNING_H
#define TESTS_HOST_SESSION_FAKETUNING_H

#include <algorithm>
#include <vector>

#include "interfaces/ITuneDecoding.h"

/// Tells what it is told to, and notes what it is asked for.
class FakeTuning final : public ITuneDecoding {
public:
    double cpuLoad(QObject *newListener) override
    {
        listeners.push_back(newListener);
        return load;
    }
    void removeCpuLoadListener(QObject *oldListener) override
    {
        listeners.erase(std::find(listeners.begin(), listeners.end(), oldListener));
    }
    int decoderCount() override { return decoders; }
    void usePerformanceMode() override { modes.push_back(decoding::Mode::Performance); }
    void useTimeSavingMode() override { modes.push_back(decoding::Mode::TimeSaving); }

    double load = 0.0;
    int decoders = 0;
    std::vector<QObject *> listeners;
    std::vector<decoding::Mode> modes; // that were asked for
};

#endif
