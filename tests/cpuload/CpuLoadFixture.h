#ifndef CPULOAD_CPULOADFIXTURE_H
#define CPULOAD_CPULOADFIXTURE_H

#include <QCoreApplication>
#include <QTimerEvent>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cpuload/CpuLoadCalculator.h"
#include "cpuload/QEvent_CpuLoad.h"
#include "decoders/VideoStreamDecoder.h"
#include "fakes/FakeElapsedTime.h"
#include "fakes/FakeFormatManager.h"
#include "fakes/FakeIdealThreadCount.h"
#include "fakes/FakeInputQueue.h"
#include "manager/DecodingManager.h"
#include <gmock/gmock.h>

/// Keeps the loads it hears of, and notes "name load" in a list that several share.
class LoadListener : public QObject {
public:
    explicit LoadListener(std::vector<std::string> *order = nullptr, const std::string &name = std::string())
        : _order(order)
        , _name(name)
    {
    }

    /// The loads since the last take. Delivers the events that are posted to this listener.
    std::vector<double> take()
    {
        QCoreApplication::sendPostedEvents(this);
        return std::exchange(_loads, {});
    }

protected:
    void customEvent(QEvent *event) override
    {
        ASSERT_NE(dynamic_cast<QEvent_CpuLoad *>(event), nullptr);
        ASSERT_EQ(static_cast<int>(event->type()), 1000);
        _loads.push_back(static_cast<QEvent_CpuLoad *>(event)->load);
        if (_order)
            _order->push_back(_name);
    }

private:
    std::vector<std::string> *_order;
    std::string _name;
    std::vector<double> _loads;
};

/// A manager that was not initialised, with one decoder whose decoding time the tests set. Time stands still unless a
/// test says otherwise; samples are taken when a test says so.
class CpuLoadFixture : public testing::Test {
protected:
    CpuLoadFixture()
    {
        FakeIdealThreadCount::set(4);
        const ModkitPtr<IInputQueue> queue(new FakeInputQueue);
        decoder = std::make_unique<VideoStreamDecoder>(&manager, ModkitPtr<IAVFormatManager>(new FakeFormatManager),
                                                       ModkitPtr<IIndicationManager>(), queue, 0, 0, true,
                                                       QStringLiteral("decoder"));
        manager._videoDecoders.findOrReserve(queue);
        manager._videoDecoders.registerOutput(decoder.get());
    }

    /// A calculator whose own timer does not disturb.
    std::unique_ptr<CpuLoadCalculator> newCalculator(quint32 threadCount)
    {
        return std::make_unique<CpuLoadCalculator>(&manager, 1000000, threadCount, nullptr);
    }

    static void tick(CpuLoadCalculator &calculator)
    {
        QTimerEvent event(calculator._timerId);
        calculator.timerEvent(&event);
    }

    /// Takes a sample of @p decodingTimeMs in @p elapsedMs. @return the load afterwards.
    double sample(CpuLoadCalculator &calculator, qint32 decodingTimeMs, qint64 elapsedMs)
    {
        decoder->_decodingTime = decodingTimeMs;
        FakeElapsedTime::advance(elapsedMs);
        tick(calculator);
        return calculator.currentLoad(nullptr);
    }

    DecodingManager manager;
    std::unique_ptr<VideoStreamDecoder> decoder;
};

#endif
