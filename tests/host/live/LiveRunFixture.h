#ifndef TESTS_HOST_LIVE_LIVERUNFIXTURE_H
#define TESTS_HOST_LIVE_LIVERUNFIXTURE_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "LiveHost.h"
#include "OutputWatch.h"
#include "ServerProcess.h"
#include "host/decode/DecodeFixture.h"
#include "host/decode/WakeUps.h"
#include "host/format/FfmpegTool.h"

/// Tests that run the host with live inputs. Beside the one that a test treats badly there can be neighbours, which
/// must not notice: a paced file, an RTSP stream and a generated source.
class LiveRunFixture : public DecodeFixture {
protected:
    /// @param fileSeconds that the file among the neighbours takes.
    explicit LiveRunFixture(int fileSeconds = 12)
        : _fileSeconds(fileSeconds)
    {
    }

    /// Pictures, 25 a second, a key picture each second, for 18 seconds more than the file takes.
    QString camera() const { return _camera; }
    /// "SIZE MD5" of each of them.
    const std::vector<std::string> &cameraFrames() const { return _cameraFrames; }

    /// What starts the host with the neighbours and with files as outputs; and then @p more.
    QStringList withNeighbours(const QStringList &more);
    /// Waits until each neighbour has had its first pictures. From then on, none may be held up.
    bool neighboursRun(LiveHost &host);
    /// Waits until the file has ended.
    static bool fileEnds(LiveHost &host);
    /// Fails unless every frame of the neighbours is that of the ffmpeg tool, none is missing, and none came late.
    void expectNeighboursUntouched(const HostRun &run);

    /// "SIZE MD5" of each picture that an input of this name has given.
    std::vector<std::string> decoded(const std::string &name) const
    {
        return ToolFrames::hashes(framemd5(path("out"), name, "video"));
    }

private:
    QString pictures(const QString &name, int seconds, const char *options) const;
    void expectFirstFrames(const HostRun &run, const std::string &name, const std::vector<std::string> &expected) const;
    void expectInTime();

    const int _fileSeconds;
    const QString _camera = pictures("camera.mp4", _fileSeconds + 18, "-c:v libx264 -preset veryfast -bf 0 -g 25");
    const std::vector<std::string> _cameraFrames = FfmpegTool::pictureHashes(_camera, 0);
    QString _file;
    std::unique_ptr<ServerProcess> _server;
    std::optional<OutputWatch> _outputs; // of the neighbours, while they must not be held up
    std::optional<WakeUps> _wakeUps;
};

#endif
