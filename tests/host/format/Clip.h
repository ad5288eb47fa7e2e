#ifndef HOST_FORMAT_TESTS_CLIP_H
#define HOST_FORMAT_TESTS_CLIP_H

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
}

/// One stream of a media file as blocks, the way a source makes them: the first one a key block, audio always. Read at
/// once.
struct Clip {
    struct Block {
        QByteArray data;
        bool keyBlock = false;
    };
    struct FreeParameters {
        void operator()(AVCodecParameters *parameters) const { avcodec_parameters_free(&parameters); }
    };

    /// Reads the best stream of @p mediaType; its blocks bear @p origin. @return nothing when the file has none.
    static std::optional<Clip> read(const QString &path, AVMediaType mediaType, const QByteArray &origin);

    QString path;
    int streamIndex = -1;
    AVRational timeBase = {};
    std::unique_ptr<AVCodecParameters, FreeParameters> parameters;
    QByteArray packedParameters;
    std::vector<Block> blocks;
};

#endif
