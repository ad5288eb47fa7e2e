#ifndef FAKES_FAKEINDICATIONS_H
#define FAKES_FAKEINDICATIONS_H

#include <mutex>
#include <string>
#include <vector>

#include "fakes/CallLog.h"
#include "interfaces/IIndicationManager.h"

/// Logs each value set as "DecoderLost=1", or "DecoderLost=0 for 500" when it has a time-out and a callback. Anything
/// that breaks the rule (a time-out without a callback, or the other way round) is logged with "BROKEN". Keeps the
/// last callback. Thread-safe.
class FakeIndication : public IIndicationObject {
public:
    FakeIndication(const std::string &name, CallLog *log)
        : _name(name)
        , _log(log)
    {
    }

    void setValue(int value, int timeoutMs, const ModkitPtr<ISimpleIndicationObjectCallback> &onTimeout) override
    {
        std::string call = _name + "=" + std::to_string(value);
        if (timeoutMs != -1)
            call += " for " + std::to_string(timeoutMs);
        if ((timeoutMs == -1) != onTimeout.isNull())
            call += " BROKEN";
        if (_log)
            _log->add(call);
        const std::lock_guard<std::mutex> lock(_mutex);
        _callback = onTimeout;
    }

    ModkitPtr<ISimpleIndicationObjectCallback> callback()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        return _callback;
    }

    const std::string &name() const { return _name; }

private:
    std::string _name;
    CallLog *_log;
    std::mutex _mutex;
    ModkitPtr<ISimpleIndicationObjectCallback> _callback;
};

/// Logs "create DecoderMode of camera 1 = 0" and "remove DecoderMode" ("remove none" for an empty pointer), and hands
/// out FakeIndications. Thread-safe.
class FakeIndicationManager : public IIndicationManager {
public:
    explicit FakeIndicationManager(CallLog *log = nullptr)
        : _log(log)
    {
    }

    /// createIndication gives empty pointers from now on.
    bool refusing = false;

    void reserved1() override {}

    void removeIndication(const ModkitPtr<IIndicationObject> &indication) override
    {
        if (_log)
            _log->add("remove " +
                      (indication.isNull() ? "none" : static_cast<const FakeIndication &>(*indication).name()));
    }

    ModkitPtr<IIndicationObject> createIndication(void *reserved, const QString &name, const QString &ownerName,
                                                  int initialValue) override
    {
        if (_log)
            _log->add("create " + name.toStdString() + " of " + ownerName.toStdString() + " = " +
                      std::to_string(initialValue) + (reserved ? " BROKEN" : ""));
        if (refusing)
            return ModkitPtr<IIndicationObject>();
        const ModkitPtr<IIndicationObject> indication(new FakeIndication(name.toStdString(), _log));
        const std::lock_guard<std::mutex> lock(_mutex);
        _created.push_back(indication);
        return indication;
    }

    /// The indication of that name that was created last; empty when no indication has it.
    ModkitPtr<IIndicationObject> indication(const std::string &name)
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        for (auto created = _created.rbegin(); created != _created.rend(); ++created) {
            if (static_cast<FakeIndication &>(**created).name() == name)
                return *created;
        }
        return ModkitPtr<IIndicationObject>();
    }

private:
    CallLog *_log;
    std::mutex _mutex;
    std::vector<ModkitPtr<IIndicationObject>> _created;
};

#endif
