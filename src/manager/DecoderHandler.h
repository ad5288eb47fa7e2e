#ifndef MANAGER_DECODERHANDLER_H
#define MANAGER_DECODERHANDLER_H

#include "interfaces/IDecoder.h"
#include "manager/DecodingManager.h"

/// The handle that a client holds for one output of one stream decoder. It keeps the manager alive.
class DecodingManager::DecoderHandler final : public IDecoder {
public:
    /// @param id of the output, in the registry of its kind. @param isVideo tells which registry that is.
    DecoderHandler(int id, bool isVideo);
    DecoderHandler(const DecoderHandler &) = delete;
    DecoderHandler &operator=(const DecoderHandler &) = delete;

    /// Names the manager that the output is to be given back to. Empty (a manager whose `init` was not given itself):
    /// it is given back to nobody, and lives until `stop`.
    void setManager(const ModkitPtr<DecodingManager> &manager);

    /// Gives the output back: takes the manager's mutex, and the decoder's output mutex, so it waits for a block that
    /// this decoder is just decoding. Then drops the manager, which may be its end.
    ~DecoderHandler() override;

private:
    ModkitPtr<DecodingManager> _manager;
    const int _id;
    const bool _isVideo;
};

#endif
