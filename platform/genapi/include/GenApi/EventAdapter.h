// Delivers device event messages to the event ports of node maps.
#ifndef GENAPI_EVENTADAPTER_H
#define GENAPI_EVENTADAPTER_H

#include <cstdint>

#include <GenApi/INodeMap.h>

namespace GenApi {

class GENAPI_DECL CEventAdapter {
public:
    virtual ~CEventAdapter() = default;
    virtual void AttachNodeMap(INodeMap* pNodeMap) = 0;
    virtual void DetachNodeMap() = 0;
    virtual void DeliverMessage(const uint8_t msg[], uint32_t numBytes) = 0;
};

} // namespace GenApi

#endif
