#ifndef HOST_SESSION_SESSIONSETTINGS_H
#define HOST_SESSION_SESSIONSETTINGS_H

#include <QString>

#include "interfaces/ISettings.h"
#include "strata/base/modkit/modkit"
#include <decoding/Session.h>

/// What a session's component is started with: its settings, and the file that it is loaded from. Constant.
class SessionSettings final {
public:
    /// Reads files, and so may wait for a disk. @throws decoding::Error when nothing can be decoded with @p options.
    explicit SessionSettings(const decoding::SessionOptions &options);

    const ModkitPtr<ISettings> &settings() const { return _settings; }
    const QString &componentFile() const { return _componentFile; }

private:
    ModkitPtr<ISettings> _settings;
    QString _componentFile;
};

#endif
