#ifndef TESTS_HOST_SESSION_FAKETUNING_H
#define TESTS_HOST_SESSION_FAKETUNING_H

#include <vector>

#include "interfaces/ITuneDecoding.h"

/// Notes what it is asked for.
class FakeTuning final : public ITuneDecoding {
public:
    double cpuLoad(QObject * /*listener*/) override { return 0; }
    void removeCpuLoadListener(QObject * /*listener*/) override {}
    int decoderCount() override { return 0; }
    void usePerformanceMode() override { modes.push_back(decoding::Mode::Performance); }
    void useTimeSavingMode() override { modes.push_back(decoding::Mode::TimeSaving); }

    std::vector<decoding::Mode> modes; // that were asked for
};

#endif
