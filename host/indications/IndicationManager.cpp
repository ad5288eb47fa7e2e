#include "indications/IndicationManager.h"

#include <algorithm>
#include <new>

#include "indications/Indication.h"
#include "threads/HostThread.h"

IndicationManager::IndicationManager()
    : _wheel(std::chrono::steady_clock::now())
    , _thread(HostThread::start("Indications", [this] { _wheel.run(); }))
{
}

IndicationManager::~IndicationManager()
{
    // No lock: nobody else knows the manager any more, and the callback in progress knows its indication only.
    for (auto &[number, owner] : _owners)
        for (const ShownIndication &shown : owner.indications)
            shown.indication->hide();
    _wheel.stop();
    _thread.join();
}

void IndicationManager::reserved1() noexcept {}

void IndicationManager::removeIndication(const ModkitPtr<IIndicationObject> &indication) noexcept
{
    auto *const known = dynamic_cast<Indication *>(indication.data());
    if (!known)
        return;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (!forgetLocked(*known))
            return;
    }
    known->hide();
}

ModkitPtr<IIndicationObject> IndicationManager::createIndication(void * /*reserved*/, const QString &name,
                                                                 const QString &ownerName, int initialValue) noexcept
{
    try {
        const std::lock_guard<std::mutex> lock(_mutex);
        quint64 number = _lastOwner.value(ownerName);
        const bool joins = joinsLocked(number, name);
        if (!joins)
            number = ++_ownerCount;
        const ModkitPtr<Indication> fresh(new Indication(initialValue, number));
        const ModkitPtr<IIndicationObject> indication = fresh;
        const QString shared = *_names.insert(name);
        // What may run out of memory comes first: an indication is listed only once it will be shown.
        if (joins) {
            _owners.at(number).indications.push_back({shared, fresh});
        } else {
            _lastOwner.insert(ownerName, number);
            _owners.emplace(number, ShownOwner{ownerName, false, {{shared, fresh}}});
        }
        fresh->show(_wheel, indication);
        return indication;
    } catch (const std::bad_alloc &) {
        return ModkitPtr<IIndicationObject>();
    }
}

std::vector<IndicationManager::Owner> IndicationManager::snapshot() const
{
    std::vector<Owner> owners;
    const std::lock_guard<std::mutex> lock(_mutex);
    owners.reserve(_owners.size());
    std::vector<QString> threads = ThreadNames::all();
    for (const auto &[number, owner] : _owners) {
        std::vector<Value> values;
        values.reserve(owner.indications.size());
        for (const ShownIndication &shown : owner.indications) {
            const Indication::Reading reading = shown.indication->reading();
            if (reading.setter >= threads.size())
                threads = ThreadNames::all(); // a thread has got its number meanwhile
            values.push_back({shown.name, reading.value, lightOf(reading.value), threads[reading.setter]});
        }
        owners.push_back({number, owner.name, std::move(values)});
    }
    return owners;
}

/// Whether a new indication called @p name belongs to that owner.
bool IndicationManager::joinsLocked(quint64 ownerNumber, const QString &name) const
{
    const auto owner = _owners.find(ownerNumber);
    if (owner == _owners.end() || owner->second.isEnding)
        return false;
    const std::vector<ShownIndication> &indications = owner->second.indications;
    return std::none_of(indications.begin(), indications.end(),
                        [&name](const ShownIndication &shown) { return shown.name == name; });
}

/// @return whether the indication was listed. It no longer is.
bool IndicationManager::forgetLocked(const Indication &indication)
{
    const auto owner = _owners.find(indication.ownerNumber());
    if (owner == _owners.end())
        return false;
    std::vector<ShownIndication> &indications = owner->second.indications;
    const auto shown = std::find_if(indications.begin(), indications.end(), [&indication](const ShownIndication &one) {
        return one.indication.data() == &indication;
    });
    if (shown == indications.end())
        return false;
    indications.erase(shown);
    owner->second.isEnding = true;
    if (indications.empty()) {
        if (_lastOwner.value(owner->second.name) == owner->first)
            _lastOwner.remove(owner->second.name);
        _owners.erase(owner);
    }
    return true;
}
