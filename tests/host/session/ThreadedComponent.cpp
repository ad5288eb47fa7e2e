#include <QThread>

#include <atomic>
#include <memory>
#include <vector>

#include "interfaces/ComponentExports.h"
#include "interfaces/ISettings.h"

// A component that starts a QThread without a name, and as many with names as the setting NAMED says, whatever THREADS
// does.

namespace {

/// Does nothing until it is to end.
class IdleThread final : public QThread {
public:
    /// Returns once it runs, and so has its name.
    void begin()
    {
        start();
        while (!_hasBegun)
            msleep(1);
    }
    void end()
    {
        _isToEnd = true;
        wait();
    }

private:
    void run() override
    {
        _hasBegun = true;
        while (!_isToEnd)
            msleep(1);
    }

    std::atomic<bool> _hasBegun{false};
    std::atomic<bool> _isToEnd{false};
};

class ThreadedComponent final : public IComponent {
public:
    bool init(const ModkitPtr<ISettings> &settings, IObjectRegistry & /*registry*/,
              const ModkitPtr<IComponent> & /*self*/) override
    {
        settings->getInt("THREADS", 1);
        begin(QString());
        for (int number = settings->getInt("NAMED", 0); number > 0; --number)
            begin(QStringLiteral("Worker/%1").arg(number));
        return true;
    }
    void stop() override
    {
        for (const auto &thread : _threads)
            thread->end();
        _threads.clear();
    }
    int check() override { return 1; }

private:
    void begin(const QString &name)
    {
        _threads.push_back(std::make_unique<IdleThread>());
        _threads.back()->setObjectName(name);
        _threads.back()->begin();
    }

    std::vector<std::unique_ptr<IdleThread>> _threads;
};

} // namespace

void ModkitMyName(const char **name, std::int32_t *value, std::int32_t /*key*/)
{
    *name = "test.ThreadedComponent";
    *value = 1;
}

void ModkitGetObject(IComponent **object, std::int32_t /*key*/)
{
    *object = new ThreadedComponent;
}

void ModkitDeleteObject(IComponent **object, std::int32_t /*key*/)
{
    delete *object;
}
