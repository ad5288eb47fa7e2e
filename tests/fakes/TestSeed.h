#ifndef FAKES_TESTSEED_H
#define FAKES_TESTSEED_H

#include <QString>
#include <QtGlobal>

#include <cstdint>
#include <cstdio>

/// The seed of a randomised test: the environment variable DECODING_TEST_SEED where it is a number, otherwise a fixed
/// one. Prints it, so that a run can be repeated.
inline std::uint64_t testSeed()
{
    bool isNumber = false;
    const qulonglong given = qEnvironmentVariable("DECODING_TEST_SEED").toULongLong(&isNumber);
    const std::uint64_t seed = isNumber ? given : 20240229;
    std::printf("DECODING_TEST_SEED=%llu\n", static_cast<unsigned long long>(seed));
    std::fflush(stdout);
    return seed;
}

#endif
