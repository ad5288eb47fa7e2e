#include "NullFramework.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>

#include "NullServices.h"
#include "interfaces/InterfaceIdentifiers.h"

namespace {

/// Has one number for every setting.
class OneSetting final : public ISettings {
public:
    explicit OneSetting(int value)
        : _value(value)
    {
    }
    std::int32_t getInt(const std::string & /*key*/, std::int32_t /*defaultValue*/) override { return _value; }

private:
    const int _value;
};

/// Waits until @p thread, which runs an event loop, has delivered the events that are posted to it now.
void waitForPostedEvents(QThread *thread)
{
    // A timer comes after all posted events, and after their places in the queue were given up. Named slots, because
    // the call of a functor would be freed by the other thread, and with it memory of the size that the measured code
    // needs next.
    QSemaphore delivered;
    QTimer timer;
    QObject::connect(
        &timer, &QTimer::timeout, &timer, [&] { delivered.release(); }, Qt::DirectConnection);
    timer.moveToThread(thread);
    QMetaObject::invokeMethod(&timer, "start", Qt::QueuedConnection);
    delivered.acquire();
    QMetaObject::invokeMethod(&timer, "stop", Qt::BlockingQueuedConnection);
}

} // namespace

/// Lives on a decoder thread, and holds it up when it gets an event.
class NullFramework::Gate final : public QObject {
public:
    explicit Gate(NullFramework &framework)
        : _framework(framework)
    {
    }

protected:
    void customEvent(QEvent * /*event*/) override
    {
        _framework._held.release();
        _framework._letGo.acquire();
    }

private:
    NullFramework &_framework;
};

NullFramework::NullFramework(int threadCount, const ModkitPtr<IAVFormatManager> &formatManager)
    : _formatManager(formatManager)
    , _output(new NullOutputQueue)
    , _manager(new DecodingManager)
{
    _component = ModkitPtr<IComponent>(_manager);
    _component->init(ModkitPtr<ISettings>(new OneSetting(threadCount)), *this, _component);
    const QVector<QThread *> threads = _manager->_threads;
    for (QThread *thread : threads) {
        _gates.push_back(std::make_unique<Gate>(*this));
        _gates.back()->moveToThread(thread);
    }
}

NullFramework::~NullFramework()
{
    if (_isRunning)
        stop();
}

ModkitPtr<IDecoder> NullFramework::decode(const ModkitPtr<IInputQueue> &queue)
{
    static const QString name = QStringLiteral("camera 1234");
    return _manager->createVideoDecoder(queue, _output, 0, name);
}

void NullFramework::settle()
{
    const QVector<QThread *> threads = _manager->_threads;
    for (QThread *thread : threads)
        waitForPostedEvents(thread);
}

void NullFramework::holdThreads()
{
    for (const std::unique_ptr<Gate> &gate : _gates)
        QCoreApplication::postEvent(gate.get(), new QEvent(QEvent::User));
    _held.acquire(static_cast<int>(_gates.size()));
}

void NullFramework::letThreadsGo()
{
    _letGo.release(static_cast<int>(_gates.size()));
}

void NullFramework::stop()
{
    _isRunning = false;
    _component->stop();
}

ModkitPtr<IPolymorph> NullFramework::setObject(const std::string & /*identifier*/,
                                               const ModkitPtr<IPolymorph> & /*object*/)
{
    return ModkitPtr<IPolymorph>();
}

ModkitPtr<IPolymorph> NullFramework::getObject(const std::string &identifier)
{
    return identifier == InterfaceIdentifiers::avFormatManager ? ModkitPtr<IPolymorph>(_formatManager)
                                                               : ModkitPtr<IPolymorph>();
}
