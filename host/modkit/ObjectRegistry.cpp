#include "modkit/ObjectRegistry.h"

ObjectRegistry::~ObjectRegistry()
{
    std::map<std::string, ModkitPtr<IPolymorph>> released;
    const std::lock_guard<std::mutex> lock(_mutex);
    released.swap(_objects);
    // The lock goes first, then the objects, while the members are still there for destructors that call the registry.
}

ModkitPtr<IPolymorph> ObjectRegistry::setObject(const std::string &identifier,
                                                const ModkitPtr<IPolymorph> &object) noexcept
{
    ModkitPtr<IPolymorph> previous;
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto published = _objects.find(identifier);
    if (published == _objects.end()) {
        if (!object.isNull())
            _objects.emplace(identifier, object);
        return previous;
    }
    // Held by the result from here on, so that nothing below drops the last reference under the lock.
    previous = published->second;
    if (object.isNull()) {
        _objects.erase(published);
    } else {
        published->second = object;
    }
    return previous;
}

ModkitPtr<IPolymorph> ObjectRegistry::getObject(const std::string &identifier) noexcept
{
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto published = _objects.find(identifier);
    return published != _objects.end() ? published->second : ModkitPtr<IPolymorph>();
}

std::vector<std::string> ObjectRegistry::identifiers() const
{
    std::vector<std::string> result;
    const std::lock_guard<std::mutex> lock(_mutex);
    result.reserve(_objects.size());
    for (const auto &published : _objects)
        result.push_back(published.first);
    return result;
}
