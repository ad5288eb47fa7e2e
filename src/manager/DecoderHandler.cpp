#include "manager/DecoderHandler.h"

DecodingManager::DecoderHandler::DecoderHandler(int id, bool isVideo)
    : _id(id)
    , _isVideo(isVideo)
{
}

void DecodingManager::DecoderHandler::setManager(const ModkitPtr<DecodingManager> &manager)
{
    _manager = manager;
}

DecodingManager::DecoderHandler::~DecoderHandler()
{
    if (!_manager.isNull())
        _manager->releaseDecoder(_id, _isVideo);
}
