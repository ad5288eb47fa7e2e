#include <QString>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

#include "fakes/TestSeed.h"
#include "fakes/WaitUntil.h"
#include "host/indications/Callbacks.h"
#include "indications/IndicationManager.h"
#include "modkit/ObjectTrace.h"
#include <gmock/gmock.h>

namespace {

constexpr int decoderCount = 8;
constexpr int stepCount = 3000;
constexpr int mostSteps = 200 * stepCount; // where the timer thread gets no processor
constexpr int lastColour = 3;

/// What a decoder thread does, with short blinks and lives, until some blinks have ended.
void decode(const ModkitPtr<IIndicationManager> &manager, CallbackCounts &counts, const QString &name,
            std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    std::vector<ModkitPtr<IIndicationObject>> indications;
    for (int step = 0; step < stepCount || (counts.calls == 0 && step < mostSteps); ++step) {
        if (indications.empty())
            for (const char *indication : {"DecoderMode", "DecoderLost", "DecoderCycle", "DecoderDataPushed"})
                indications.push_back(manager->createIndication(nullptr, QString::fromLatin1(indication), name, 0));
        const ModkitPtr<IIndicationObject> &indication = indications[random() % indications.size()];
        if (random() % 2 == 0)
            indication->setValue(static_cast<int>(random() % 4), 1 + static_cast<int>(random() % 20), blacken(counts));
        else
            indication->setValue(static_cast<int>(random() % 4), -1, Callback());
        if (random() % 100 == 0) {
            for (const ModkitPtr<IIndicationObject> &removed : indications)
                manager->removeIndication(removed);
            indications.clear();
        }
        if (random() % 16 == 0)
            std::this_thread::yield();
    }
}

} // namespace

TEST(IndicationManagerThreads, DecodersOfOneNameComeAndGoWhileTheyBlinkAndAreLookedAt)
{
    const std::size_t liveBefore = ObjectTrace::liveCount();
    const std::uint64_t seed = testSeed();
    CallbackCounts counts;
    {
        const ModkitPtr<IndicationManager> manager(new IndicationManager);
        const ModkitPtr<IIndicationManager> seen = manager;
        std::vector<std::thread> threads;
        std::atomic<int> running{decoderCount};
        for (int decoder = 0; decoder < decoderCount; ++decoder)
            threads.emplace_back([&, decoder] {
                decode(seen, counts, QStringLiteral("camera"), seed + static_cast<std::uint64_t>(decoder));
                --running;
            });
        while (running != 0)
            for (const IndicationManager::Owner &owner : manager->snapshot()) {
                EXPECT_FALSE(owner.values.empty());
                for (const IndicationManager::Value &value : owner.values) {
                    EXPECT_GE(value.value, 0);
                    EXPECT_LE(value.value, lastColour);
                }
            }
        for (std::thread &thread : threads)
            thread.join();
    }
    EXPECT_GT(counts.calls, 0);
    EXPECT_EQ(counts.alive, 0);
    EXPECT_EQ(ObjectTrace::liveCount(), liveBefore);
}

TEST(IndicationManagerThreads, AValueThatStaysIsNeverOverwrittenByAnEndingBlink)
{
    const ModkitPtr<IndicationManager> manager(new IndicationManager);
    const auto pushed = manager->createIndication(nullptr, QStringLiteral("DecoderDataPushed"), QString(), lastColour);
    CallbackCounts counts;
    std::mt19937_64 random(testSeed());
    constexpr int roundCount = 200;
    for (int round = 0; round < roundCount; ++round) {
        pushed->setValue(1, 1, blacken(counts));
        // Ends at about the time of the time-out.
        const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 12000);
        while (std::chrono::steady_clock::now() < until && counts.calls <= round)
            std::this_thread::yield();
        pushed->setValue(0, -1, Callback());
        // Whatever was under way has ended once its callback has gone.
        ASSERT_TRUE(waitUntil([&] { return counts.alive == 0; }));
        ASSERT_EQ(manager->snapshot().at(0).values.at(0).value, 0) << "round " << round;
    }
}
