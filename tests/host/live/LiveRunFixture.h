#ifndef TESTS_HOST_LIVE_LIVERUNFIXTURE_H
#define TESTS_HOST_LIVE_LIVERUNFIXTURE_H

#include <memory>
#include <string>
#include <vector>

#include "LiveHost.h"
#include "ServerProcess.h"
#include "host/decode/DecodeFixture.h"
#include "host/format/FfmpegTool.h"

/// Tests that run the host with live inputs. Beside the one that a test treats badly there can be neighbours, which
/// must not notice: a paced file, an RTSP stream and a generated source.
class LiveRunFixture : public DecodeFixture {
protected:
    /// Half a minute of pictures, 25 a second, a key picture each second.
    QString camera() const { return _camera; }
    /// "SIZE MD5" of each of them.
    const std::vector<std::string> &cameraFrames() const { return _cameraFrames; }

    /// What starts the host with the neighbours and with files as outputs; and then @p more.
    QStringList withNeighbours(const QStringList &more);
    /// Waits until each neighbour has had its first pictures.
    static bool neighboursRun(LiveHost &host);
    /// Waits until the file has ended, which takes twelve seconds.
    static bool fileEnds(LiveHost &host);
    /// Fails unless every frame of the neighbours is that of the ffmpeg tool, and none is missing.
    void expectNeighboursUntouched(const HostRun &run);

    /// "SIZE MD5" of each picture that an input of this name has given.
    std::vector<std::string> decoded(const std::string &name) const
    {
        return ToolFrames::hashes(framemd5(path("out"), name, "video"));
    }

private:
    void expectFirstFrames(const HostRun &run, const std::string &name, const std::vector<std::string> &expected) const;

    const QString _camera = generate("camera.mp4", "-f lavfi -i testsrc2=size=320x240:rate=25:duration=30 -pix_fmt "
                                                   "yuv420p -c:v libx264 -preset veryfast -bf 0 -g 25");
    const std::vector<std::string> _cameraFrames = FfmpegTool::pictureHashes(_camera, 0);
    QString _file;
    std::unique_ptr<ServerProcess> _server;
};

#endif
