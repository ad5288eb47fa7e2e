#include <QCoreApplication>
#include <QTimerEvent>

#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "StormBigBlocks.h"
#include "StormClient.h"
#include "StormIndications.h"
#include "StormListeners.h"
#include "StormTrace.h"
#include "cpuload/CpuLoadCalculator.h"
#include "fakes/HangGuard.h"
#include "fakes/TestSeed.h"
#include "fakes/WaitUntil.h"
#include "interfaces/InterfaceIdentifiers.h"
#include "modkit/ObjectRegistry.h"
#include "modkit/Settings.h"
#include "session/ProcessThreads.h"
#include <gmock/gmock.h>

namespace {

using testing::IsEmpty;

constexpr int clientCount = 8;
constexpr int listenerThreadCount = 2;

std::chrono::seconds duration()
{
    bool isNumber = false;
    const int given = qEnvironmentVariableIntValue("DECODING_STORM_SECONDS", &isNumber);
    return std::chrono::seconds(isNumber ? given : 10);
}

/// Qt's warnings are violations, except for the one that tells of a refused codec decoder.
void noteMessage(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    if (type != QtDebugMsg && !text.startsWith(QLatin1String("Failed to create decoder for fourcc ")))
        StormLedger::violation("a message: " + text.toStdString());
}

/// Takes one measurement of the load, without waiting for the next second.
void measureLoad(DecodingManager &manager)
{
    QTimerEvent tick(0);
    QCoreApplication::sendEvent(manager._cpuLoadCalculator, &tick);
}

} // namespace

class Storm : public testing::Test {
protected:
    Storm() { _previousHandler = qInstallMessageHandler(&noteMessage); }
    ~Storm() override { qInstallMessageHandler(_previousHandler); }

    void blow(const StormForce &force)
    {
        const std::uint64_t seed = testSeed();
        SCOPED_TRACE("seed " + std::to_string(seed));
        const std::set<int> threadsBefore = ProcessThreads::ids();
        {
            StormWorld world(force);
            ASSERT_NO_FATAL_FAILURE(start(world));
            std::vector<std::unique_ptr<StormClient>> clients;
            for (int index = 0; index < clientCount; ++index)
                clients.push_back(std::make_unique<StormClient>(world, seed + static_cast<std::uint64_t>(index)));
            runClients(world, clients);
            end(world);
            expectActivity(world);
        }
        expectEverythingGone();
        EXPECT_THAT(StormLedger::takeViolations(), IsEmpty());
        EXPECT_TRUE(waitUntil([&] { return ProcessThreads::ids() == threadsBefore; }));
    }

private:
    void start(StormWorld &world)
    {
        const ModkitPtr<IAVFormatManager> formats(new StormFormats(world.legacies));
        const ModkitPtr<IIndicationManager> indications(new StormIndications);
        _registry.setObject(InterfaceIdentifiers::avFormatManager, ModkitPtr<IPolymorph>(formats));
        _registry.setObject(InterfaceIdentifiers::indicationManager, ModkitPtr<IPolymorph>(indications));
        auto *const settings = new Settings;
        settings->addMap({{"THREADS", "4"}}, "the storm");
        _component = ModkitPtr<IComponent>(new DecodingManager);
        ASSERT_TRUE(_component->init(ModkitPtr<ISettings>(settings), _registry, _component));
        world.manager = ModkitPtr<DecodingManager>(_component);
    }

    /// Half of the clients run on Qt's threads, half on plain ones. In the middle of it all, stop is called.
    void runClients(StormWorld &world, const std::vector<std::unique_ptr<StormClient>> &clients)
    {
        std::vector<std::unique_ptr<QThread>> qtThreads;
        std::vector<std::thread> plainThreads;
        std::vector<std::future<void>> ends;
        for (const std::unique_ptr<StormClient> &client : clients) {
            auto task = std::make_shared<std::packaged_task<void()>>([&client] { client->run(); });
            ends.push_back(task->get_future());
            if (ends.size() % 2 == 0) {
                plainThreads.emplace_back([task] { (*task)(); });
            } else {
                qtThreads.emplace_back(QThread::create([task] { (*task)(); }));
                qtThreads.back()->start();
            }
        }
        {
            std::vector<std::unique_ptr<StormListeners>> listeners;
            for (int index = 0; index < listenerThreadCount; ++index)
                listeners.push_back(std::make_unique<StormListeners>(world));
            const auto stopAt = std::chrono::steady_clock::now() + duration();
            while (std::chrono::steady_clock::now() < stopAt) {
                measureLoad(*world.manager);
                QCoreApplication::processEvents();
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
            world.isStopping = true;
            _component->stop();
            world.isStopped = true;
            for (const std::unique_ptr<StormClient> &client : clients)
                EXPECT_TRUE(waitUntil([&] { return client->operationsAfterStop >= 100; }));
            world.isOver = true;
        }
        for (const std::future<void> &clientsEnd : ends)
            EXPECT_EQ(clientsEnd.wait_for(deadline), std::future_status::ready);
        for (std::thread &thread : plainThreads)
            thread.join();
        for (const std::unique_ptr<QThread> &thread : qtThreads)
            thread->wait();
    }

    void end(StormWorld &world)
    {
        while (std::optional<StormHandle> left = world.legacies.take())
            left->drop();
        world.releaseQueues();
        world.manager.reset();
        _component.reset();
        _registry.setObject(InterfaceIdentifiers::avFormatManager, ModkitPtr<IPolymorph>());
        _registry.setObject(InterfaceIdentifiers::indicationManager, ModkitPtr<IPolymorph>());
        EXPECT_THAT(_registry.identifiers(), IsEmpty());
    }

    /// A storm in which nothing happens proves nothing.
    static void expectActivity(const StormWorld &world)
    {
        EXPECT_GT(std::int64_t(world.created), 100);
        EXPECT_GT(std::int64_t(world.refused), 0);
        EXPECT_GT(std::int64_t(world.thrown), 0);
        EXPECT_GT(std::int64_t(world.pushes), 1000);
        EXPECT_GT(std::int64_t(world.bequests), 0);
        EXPECT_GT(std::int64_t(world.loadEvents), 0);
        EXPECT_GT(std::int64_t(StormFormats::refusals()), 0);
        std::printf("%lld handles created, %lld refused, %lld requests out of memory, %lld records pushed, "
                    "%lld load events\n",
                    static_cast<long long>(world.created), static_cast<long long>(world.refused),
                    static_cast<long long>(world.thrown), static_cast<long long>(world.pushes),
                    static_cast<long long>(world.loadEvents));
    }

    static void expectEverythingGone()
    {
        EXPECT_GT(StormRecordSample<StormVideo>::instance().settle(), 0U);
        EXPECT_GT(StormRecordSample<StormAudio>::instance().settle(), 0U);
        expectGone(StormQueue::kindName, StormQueue::count());
        expectGone(StormIndication::kindName, StormIndication::count());
        expectGone(StormIndications::kindName, StormIndications::count());
        expectGone(StormFormats::kindName, StormFormats::count());
        expectGone(StormVideo::codecName, StormCodec<StormVideo>::count());
        expectGone(StormAudio::codecName, StormCodec<StormAudio>::count());
        expectGone(StormVideo::outputName, StormOutput<StormVideo>::count());
        expectGone(StormAudio::outputName, StormOutput<StormAudio>::count());
        expectGone("a big block", StormBigBlocks::count());
        expectGone("a traced object", StormTrace::count());
    }

    static void expectGone(const char *what, const StormLedger::Count &count)
    {
        EXPECT_GT(std::int64_t(count.born), 0) << what;
        EXPECT_EQ(std::int64_t(count.born), std::int64_t(count.gone)) << what;
    }

    const HangGuard _hangGuard{"The storm", duration() + std::chrono::seconds(240)};
    ObjectRegistry _registry;
    ModkitPtr<IComponent> _component;
    QtMessageHandler _previousHandler;
};

TEST_F(Storm, LeavesNothingBehind)
{
    blow({24, 40, 400});
}

TEST_F(Storm, LeavesNothingBehindAfterLongLivesOfHandles)
{
    blow({16, 5, 20000});
}
