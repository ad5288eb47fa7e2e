#ifndef TESTS_HOST_CLI_FOLDERFIXTURE_H
#define TESTS_HOST_CLI_FOLDERFIXTURE_H

#include <QTemporaryDir>

#include <string>

#include <gmock/gmock.h>

/// Tests in a directory that goes with them.
class FolderFixture : public testing::Test {
protected:
    /// @return the path of @p name in it.
    std::string path(const std::string &name) const { return _folder.path().toStdString() + '/' + name; }

private:
    const QTemporaryDir _folder;
};

#endif
