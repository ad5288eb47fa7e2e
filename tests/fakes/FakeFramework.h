#ifndef FAKES_FAKEFRAMEWORK_H
#define FAKES_FAKEFRAMEWORK_H

#include <functional>
#include <map>
#include <string>

#include "fakes/CallLog.h"
#include "interfaces/IObjectRegistry.h"
#include "interfaces/ISettings.h"

/// Logs "get d98b9788-..." and "set e0711c9b-... object" or "... empty", and keeps what is published.
class FakeObjectRegistry final : public IObjectRegistry {
public:
    explicit FakeObjectRegistry(CallLog &log)
        : _log(log)
    {
    }

    /// Called within each setObject, before it takes effect.
    std::function<void()> duringSet;

    ModkitPtr<IPolymorph> setObject(const std::string &identifier, const ModkitPtr<IPolymorph> &object) override
    {
        _log.add("set " + identifier + (object.isNull() ? " empty" : " object"));
        if (duringSet)
            duringSet();
        const ModkitPtr<IPolymorph> previous = objects[identifier];
        objects[identifier] = object;
        return previous;
    }

    ModkitPtr<IPolymorph> getObject(const std::string &identifier) override
    {
        _log.add("get " + identifier);
        return objects[identifier];
    }

    std::map<std::string, ModkitPtr<IPolymorph>> objects;

private:
    CallLog &_log;
};

/// Logs "getInt THREADS, 8" (key and default), and answers from a map.
class FakeSettings : public ISettings {
public:
    explicit FakeSettings(CallLog &log)
        : _log(log)
    {
    }

    std::int32_t getInt(const std::string &key, std::int32_t defaultValue) override
    {
        _log.add("getInt " + key + ", " + std::to_string(defaultValue));
        const auto value = values.find(key);
        return value == values.end() ? defaultValue : value->second;
    }

    std::map<std::string, std::int32_t> values;

private:
    CallLog &_log;
};

#endif
