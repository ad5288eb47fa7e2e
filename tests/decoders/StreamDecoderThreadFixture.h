#ifndef DECODERS_STREAMDECODERTHREADFIXTURE_H
#define DECODERS_STREAMDECODERTHREADFIXTURE_H

#include <QCoreApplication>
#include <QThread>

#include <atomic>
#include <functional>
#include <future>
#include <thread>

#include "decoders/VideoStreamDecoder.h"
#include "fakes/FakeFormatManager.h"
#include "fakes/FakeIndications.h"
#include "fakes/FakeOutputQueue.h"
#include "fakes/WaitUntil.h"
#include <gmock/gmock.h>

/// Gives block after block while it is open: the n-th is "H264n", a key block when n is even, with 1 block lost and a
/// latency of 3 ms. Thread-safe.
class StampedQueue : public IInputQueue {
public:
    explicit StampedQueue(quint32 streamId)
        : _streamId(streamId)
    {
    }

    std::atomic<bool> isOpen{false};
    std::atomic<int> calls{0};
    std::atomic<int> keyBlocks{0};
    std::atomic<int> blocks{0};

    bool readBlock(QByteArray *data, quint32 *streamId, bool *keyBlock, qint64 *timestamp, qint64 *blockTime,
                   QueueCursor *cursor, void * /*reserved1*/, void * /*reserved2*/, quint32 *lost,
                   qint64 *latency) override
    {
        ++calls;
        if (!isOpen)
            return false;
        const quint32 index = cursor->word0++;
        *data = "H264" + QByteArray::number(index);
        *streamId = _streamId;
        *keyBlock = index % 2 == 0;
        *timestamp = index;
        *blockTime = index;
        *lost = 1;
        *latency = 3;
        ++blocks;
        keyBlocks += *keyBlock;
        return true;
    }

private:
    const quint32 _streamId;
};

/// Counts what is pushed too late.
class RemovableOutput : public IVideoOutputQueue {
public:
    std::atomic<bool> isRemoved{false};
    std::atomic<int> latePushes{0};

    void push(const VideoFrameHandle & /*frame*/, qint64 /*timestamp*/, qint64 /*blockTime*/) override
    {
        latePushes += isRemoved;
    }
};

class TaskEvent : public QEvent {
public:
    explicit TaskEvent(const std::function<void()> &wanted)
        : QEvent(User)
        , task(wanted)
    {
    }

    const std::function<void()> task;
};

/// Runs the tasks of the TaskEvents that it receives.
class TaskRunner : public QObject {
protected:
    void customEvent(QEvent *event) override { static_cast<TaskEvent *>(event)->task(); }
};

class StreamDecoderThreadTest : public testing::Test {
protected:
    StreamDecoderThreadTest()
    {
        _taskRunner.moveToThread(&thread);
        thread.start();
    }

    ~StreamDecoderThreadTest() override
    {
        queue->isOpen = false;
        thread.quit();
        thread.wait();
    }

    /// Runs @p task on the decoder thread, between two of its events, and waits for its end.
    void runInThread(const std::function<void()> &task)
    {
        std::promise<void> done;
        QCoreApplication::postEvent(&_taskRunner, new TaskEvent([&] {
            task();
            done.set_value();
        }));
        EXPECT_EQ(done.get_future().wait_for(deadline), std::future_status::ready);
    }

    /// A decoder that is still on the calling thread. It notes its destruction.
    VideoStreamDecoder *makeDecoder()
    {
        auto *const made = new VideoStreamDecoder(nullptr, formatManager, indicationManager, inputQueue, 0, 0, true,
                                                  QString::fromLatin1("camera 1"));
        QObject::connect(made, &QObject::destroyed, [this] {
            destroyedOn = QThread::currentThread();
            isDestroyed = true;
        });
        return made;
    }

    VideoStreamDecoder *makeDecoderOnThread()
    {
        VideoStreamDecoder *const made = makeDecoder();
        made->moveToThread(&thread);
        return made;
    }

    /// As makeDecoderOnThread, but created where there is no event dispatcher.
    VideoStreamDecoder *makeDecoderElsewhere(QThread *destination)
    {
        VideoStreamDecoder *made = nullptr;
        std::thread([&] {
            made = makeDecoder();
            made->moveToThread(destination);
        }).join();
        return made;
    }

    /// A decoder that stays in the middle of its first block until goOn is set.
    VideoStreamDecoder *makeDecoderThatDecodes()
    {
        formats->duringVideoDecode = [this](const QByteArray &data, const auto * /*outputs*/, int /*outputCount*/) {
            if (data != "H2640")
                return;
            _decoding.set_value();
            EXPECT_EQ(goOn.get_future().wait_for(deadline), std::future_status::ready);
        };
        queue->isOpen = true;
        VideoStreamDecoder *const made = makeDecoderOnThread();
        EXPECT_EQ(_decoding.get_future().wait_for(deadline), std::future_status::ready);
        return made;
    }

    bool waitForDestruction()
    {
        return waitUntil([this] { return isDestroyed.load(); });
    }

    static ModkitPtr<IVideoOutputQueue> output()
    {
        return ModkitPtr<IVideoOutputQueue>(new FakeVideoOutputQueue("left"));
    }

    QThread thread;
    FakeFormatManager *formats = new FakeFormatManager;
    ModkitPtr<IAVFormatManager> formatManager{formats};
    ModkitPtr<IIndicationManager> indicationManager{new FakeIndicationManager};
    StampedQueue *queue = new StampedQueue(0);
    ModkitPtr<IInputQueue> inputQueue{queue};
    std::promise<void> goOn; // for makeDecoderThatDecodes
    std::atomic<bool> isDestroyed{false};
    std::atomic<QThread *> destroyedOn{nullptr};

private:
    std::promise<void> _decoding;
    TaskRunner _taskRunner;
};

#endif
