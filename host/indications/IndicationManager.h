#ifndef HOST_INDICATIONS_INDICATIONMANAGER_H
#define HOST_INDICATIONS_INDICATIONMANAGER_H

#include <QHash>
#include <QSet>
#include <QString>

#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "indications/Indication.h"
#include "indications/Light.h"
#include "indications/TimeoutWheel.h"
#include "interfaces/IIndicationManager.h"

/// The host's indications, with a picture of all their values at any time. Shared by ModkitPtr; all operations are
/// thread-safe. The contract's operations do not throw: where memory is short, createIndication gives an empty pointer.
///
/// One thread, "Indications", calls the callbacks of all time-outs. It is started with the manager, sleeps while
/// nothing is pending, and is waited for by the destructor, so the last reference must not be dropped by a callback.
///
/// Indications may outlive the manager. They take values then, as those that were removed do, but their time-outs come
/// to nothing.
class IndicationManager final : public IIndicationManager {
public:
    struct Value {
        QString name;
        int value;
        Light light; // of the value
        /// The object name of the QThread that set it last; empty for any other thread, the manager's own included, and
        /// before the first time. A decoder sets "DecoderCycle" on its decoder thread only.
        QString thread;
    };

    /// What was created together. Nothing tells the manager which decoder creates an indication, and decoders may have
    /// the same name. But a decoder creates all of its indications at once, each with another name, and removes them at
    /// its end. So an indication joins the last owner of its owner's name, unless that has had one of the same name, or
    /// one of its indications was removed: then it begins another owner. Only decoders of one name that are created by
    /// two decoding managers at the same moment can get mixed up.
    struct Owner {
        quint64 number; // its own, never used again
        QString name;
        std::vector<Value> values; // in the order of their creation; never empty
    };

    /// @throws std::system_error when no thread can be started.
    IndicationManager();
    IndicationManager(const IndicationManager &) = delete;
    IndicationManager &operator=(const IndicationManager &) = delete;
    /// Ends the showing of all indications; waits for a callback in progress.
    ~IndicationManager() override;

    void reserved1() noexcept override;

    /// As the interface says; nothing happens for an empty pointer, nor for an object that this manager does not show.
    /// A pending time-out comes to nothing. A callback in progress is not waited for.
    void removeIndication(const ModkitPtr<IIndicationObject> &indication) noexcept override;

    /// As the interface says.
    ModkitPtr<IIndicationObject> createIndication(void *reserved, const QString &name, const QString &ownerName,
                                                  int initialValue) noexcept override;

    /// @return all indications that are shown, in the order of their owners' creation. No indication is held up: each
    ///         value is what it was at some moment of the call. Removals and creations wait.
    [[nodiscard]] std::vector<Owner> snapshot() const;

    /// Calls @p take with the name and the Indication::Reading of each indication of the last owner called @p
    /// ownerName, in the order of their creation, as snapshot reads them. Takes no longer where many are shown. @p take
    /// must not call the manager. @return whether there is such an owner.
    template <class Take>
    bool readLast(const QString &ownerName, const Take &take) const
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        const auto owner = _owners.find(_lastOwner.value(ownerName));
        if (owner == _owners.end())
            return false;
        for (const ShownIndication &shown : owner->second.indications)
            take(shown.name, shown.indication->reading());
        return true;
    }

private:
    struct ShownIndication {
        QString name;
        ModkitPtr<Indication> indication;
    };
    struct ShownOwner {
        QString name;
        bool isEnding; // one of its indications was removed
        std::vector<ShownIndication> indications;
    };

    bool joinsLocked(quint64 ownerNumber, const QString &name) const;
    bool forgetLocked(const Indication &indication);

    TimeoutWheel _wheel;

    mutable std::mutex _mutex;             // guards these; taken before the locks of indications and the wheel
    std::map<quint64, ShownOwner> _owners; // by number
    QHash<QString, quint64> _lastOwner;    // the number of the last owner of each name, which may be gone
    quint64 _ownerCount = 0;               // ever
    /// Of all indications there ever were: a few. The thousands that have one of them share its text, which costs less
    /// memory, and a snapshot a cache miss less for each.
    QSet<QString> _names;

    std::thread _thread; // last: it uses the wheel
};

#endif
