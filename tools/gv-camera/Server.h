// The device server: the chosen virtual cameras, each a GigE Vision device on its own IPv4
// address, and the one socket on the GVCP port of every address that hears broadcasts
// (discovery, FORCEIP, actions) and passes them to every camera.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "DeviceServer.h"
#include "FaultInjection.h"
#include <Net/UdpSocket.h>
#include "camera/Catalogue.h"

namespace GvCamera {

struct CameraChoice {
    std::string selector;     // a serial number, a user-defined name or a model name
    std::uint32_t ip = 0;     // host order
    std::uint32_t subnetMask = 0xFFFFFF00;
    std::uint32_t defaultGateway = 0;
};

// The catalogue entries for the choices, in order: by serial number or user-defined name, else
// the first entry of that model not chosen yet. std::invalid_argument names what matched nothing.
std::vector<VirtualGenTL::CatalogueEntry> ChooseCameras(const std::vector<CameraChoice>& choices);

class Server {
public:
    Server(const std::vector<CameraChoice>& choices, const FaultSettings& faults, std::size_t resendBlocks);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    const std::vector<std::unique_ptr<DeviceServer>>& Devices() const { return m_devices; }
    nlohmann::json Statistics() const;

private:
    void ListenForBroadcasts();

    std::vector<std::unique_ptr<DeviceServer>> m_devices;
    std::unique_ptr<Net::UdpSocket> m_broadcast;
    std::atomic<bool> m_quit{false};
    std::thread m_thread;
};

} // namespace GvCamera
