#include <QtGlobal>

#include <atomic>
#include <future>
#include <set>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "fakes/FakeFormatManager.h"
#include "fakes/RefusedThreads.h"
#include "interfaces/InterfaceIdentifiers.h"
#include "modkit/ObjectTrace.h"
#include "session/ComponentHost.h"
#include "session/ProcessThreads.h"
#include <decoding/Session.h>
#include <gmock/gmock.h>

namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::Not;
using testing::Optional;
using testing::StartsWith;

std::atomic<int> warningsHeard = 0;

void countWarning(QtMsgType type, const QMessageLogContext & /*context*/, const QString & /*text*/)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        ++warningsHeard;
}

decoding::SessionOptions withThreads(int threads)
{
    decoding::SessionOptions options;
    options.threads = threads;
    return options;
}

/// Asks for three threads, and begins one itself whenever it is asked.
class ThreadStartingSettings final : public ISettings {
public:
    ~ThreadStartingSettings() override
    {
        _end.set_value();
        for (std::thread &thread : _threads)
            thread.join();
    }

    std::int32_t getInt(const std::string & /*key*/, std::int32_t /*defaultValue*/) override
    {
        std::promise<void> begun;
        _threads.emplace_back([this, &begun, end = _ended] {
            _id = static_cast<int>(gettid());
            begun.set_value();
            end.wait();
        });
        begun.get_future().wait();
        return 3;
    }

    /// @return the id of the last one.
    int started() const { return _id; }

private:
    std::promise<void> _end;
    const std::shared_future<void> _ended = _end.get_future().share();
    std::atomic<int> _id = 0;
    std::vector<std::thread> _threads;
};

} // namespace

TEST(ComponentThreads, KeepASessionFromItsBeginningWhereTheSystemRefusesThemWithoutAWarningForEach)
{
    const QtMessageHandler before = qInstallMessageHandler(&countWarning);
    {
        const decoding::Session first(withThreads(1)); // the event thread runs by now
        const std::set<int> threadsBefore = ProcessThreads::ids();
        std::string error;
        try {
            const RefusedThreads refused(10);
            const decoding::Session second(withThreads(64));
        } catch (const decoding::Error &caught) {
            error = caught.what();
        }
        EXPECT_THAT(error, StartsWith("10 of 64 decoder threads started: "));
        EXPECT_THAT(ProcessThreads::leftSince(threadsBefore), IsEmpty());
        const decoding::Session third(withThreads(64));
    }
    qInstallMessageHandler(before);
    EXPECT_EQ(warningsHeard, 0);
    EXPECT_THAT(ObjectTrace::liveCountByType(), IsEmpty());
}

TEST(ComponentThreads, AreDistinguishedFromThoseThatOthersBeginMeanwhile)
{
    ObjectRegistry registry;
    registry.setObject(InterfaceIdentifiers::avFormatManager,
                       ModkitPtr<IPolymorph>(ModkitPtr<IAVFormatManager>(new FakeFormatManager)));
    auto *const settings = new ThreadStartingSettings;
    const ModkitPtr<ISettings> shared(settings);
    ComponentHost host(shared, registry);
    const auto error = host.start(ComponentHost::libraryFile(ComponentOptions()));
    ASSERT_FALSE(error) << *error;
    ASSERT_NE(settings->started(), 0);
    EXPECT_EQ(host.threads().size(), 3U);
    EXPECT_THAT(host.threads(), Not(Contains(settings->started())));

    // Nor do they stand in for one that did not start.
    ComponentHost another(shared, registry);
    const RefusedThreads refused(3);
    EXPECT_THAT(another.start(ComponentHost::libraryFile(ComponentOptions())),
                Optional(StartsWith("2 of 3 decoder threads started: ")));
}
