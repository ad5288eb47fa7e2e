#ifndef TESTS_HOST_CONTROL_CONTROLFIXTURE_H
#define TESTS_HOST_CONTROL_CONTROLFIXTURE_H

#include <QTemporaryDir>

#include <memory>

#include "FakeControl.h"
#include "RawClient.h"
#include "control/ControlServer.h"
#include <gmock/gmock.h>

/// A server on this thread, with a host that only notes what it is asked for.
class ControlFixture : public testing::Test {
protected:
    void SetUp() override
    {
        auto listening = ControlSocket::listen(path());
        if (const std::string *const error = std::get_if<std::string>(&listening))
            FAIL() << *error;
        _server = std::make_unique<ControlServer>(std::move(std::get<0>(listening)), _control);
    }

    std::string path() const { return _directory.filePath(QStringLiteral("host.sock")).toStdString(); }

    /// @return whether a client that comes now is served.
    bool serves() { return RawClient(path()).ask("mode performance") == "ok\n"; }

    FakeControl _control;
    std::unique_ptr<ControlServer> _server;
    QTemporaryDir _directory;
};

#endif
