// Event adapter for GigE Vision: takes a GVCP EVENT or EVENTDATA packet (header included),
// hands each event item to the event ports whose EventID matches and fires their callbacks.
#ifndef GENAPI_EVENTADAPTERGEV_H
#define GENAPI_EVENTADAPTERGEV_H

#include <vector>

#include <GenApi/EventAdapter.h>

namespace GenApi {

class GENAPI_DECL CEventAdapterGEV : public CEventAdapter {
public:
    explicit CEventAdapterGEV(INodeMap* pNodeMap = nullptr);
    ~CEventAdapterGEV() override;
    CEventAdapterGEV(const CEventAdapterGEV&) = delete;
    CEventAdapterGEV& operator=(const CEventAdapterGEV&) = delete;

    void AttachNodeMap(INodeMap* pNodeMap) override;
    void DetachNodeMap() override;
    // A packet that is too short or not an event packet is ignored; an item that claims more
    // bytes than the packet holds ends the delivery.
    void DeliverMessage(const uint8_t msg[], uint32_t numBytes) override;

private:
    INodeMap* m_pNodeMap;
};

} // namespace GenApi

#endif
