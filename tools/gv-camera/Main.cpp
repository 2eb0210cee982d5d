// vireo-gv-camera: serves the SDK's virtual cameras as GigE Vision devices on the network,
// one IPv4 address each, until SIGINT or SIGTERM.
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <signal.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include <GigE/BootstrapRegisters.h>

#include "Server.h"
#include "camera/BootstrapRegisters.h"
#include "camera/Catalogue.h"

namespace {

// The subnet mask of the interface that carries the address, so that the camera reports the
// network it is really on; /24 when no interface has it (the bind will then say why).
std::uint32_t SubnetMaskOf(std::uint32_t ip) {
    ifaddrs* interfaces = nullptr;
    std::uint32_t mask = 0xFFFFFF00;
    if (::getifaddrs(&interfaces) != 0) return mask;
    for (const ifaddrs* entry = interfaces; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_netmask == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
        if (ntohl(reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr.s_addr) == ip)
            mask = ntohl(reinterpret_cast<const sockaddr_in*>(entry->ifa_netmask)->sin_addr.s_addr);
    }
    ::freeifaddrs(interfaces);
    return mask;
}

GvCamera::CameraChoice ParseChoice(const std::string& text) {
    const std::size_t at = text.rfind('@');
    if (at == std::string::npos || at == 0)
        throw CLI::ValidationError("--camera", "\"" + text + "\" is not CAMERA@ADDRESS (e.g. VC2448C-0001@10.42.0.11)");
    GvCamera::CameraChoice choice;
    choice.selector = text.substr(0, at);
    std::string address = text.substr(at + 1);
    int prefix = -1;
    if (const std::size_t slash = address.find('/'); slash != std::string::npos) {
        const std::string digits = address.substr(slash + 1);
        address.resize(slash);
        if (digits.empty() || digits.size() > 2 || digits.find_first_not_of("0123456789") != std::string::npos ||
            (prefix = std::stoi(digits)) < 1 || prefix > 32)
            throw CLI::ValidationError("--camera", "prefix length of " + text + " must be 1 to 32");
    }
    in_addr parsed{};
    if (::inet_pton(AF_INET, address.c_str(), &parsed) != 1)
        throw CLI::ValidationError("--camera", "\"" + address + "\" is not an IPv4 address");
    choice.ip = ntohl(parsed.s_addr);
    choice.subnetMask = prefix > 0 ? std::uint32_t(0xFFFFFFFFull << (32 - prefix)) : SubnetMaskOf(choice.ip);
    return choice;
}

void WriteStatistics(const GvCamera::Server& server, const std::string& path) {
    if (path.empty()) return;
    const std::string temporary = path + ".tmp";
    std::ofstream(temporary) << server.Statistics().dump(2) << '\n';
    std::rename(temporary.c_str(), path.c_str());  // readers never see half a file
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("vireo-gv-camera: the Vireo SDK's virtual cameras served as GigE Vision devices, one IPv4 address "
                 "each (the address must belong to an interface of this host). Runs until SIGINT or SIGTERM.");
    std::vector<std::string> cameras;
    bool list = false;
    std::size_t resendBlocks = 8;
    std::string statisticsPath;
    GvCamera::FaultSettings faults;
    std::int64_t slowMs = 0, silentMs = -1;
    app.add_option("--camera,-c", cameras,
                   "CAMERA@ADDRESS[/PREFIX]: serve the camera with this serial number, user-defined name or model "
                   "name at this address (repeat for several cameras)");
    app.add_flag("--list", list, "List the cameras that can be served and exit");
    app.add_option("--resend-frames", resendBlocks, "Frames kept for packet resend requests")->check(CLI::Range(1, 1000));
    app.add_option("--statistics", statisticsPath,
                   "Write the counters (JSON) to this file at exit and on SIGUSR1");
    auto* fault = "Fault injection";
    app.add_option("--loss", faults.payloadLoss, "Fraction of stream payload packets not sent the first time (0 to 1)")
        ->check(CLI::Range(0.0, 1.0))->group(fault);
    app.add_flag("--loss-leaders-trailers", faults.lossIncludesLeaderAndTrailer,
                 "The loss also hits leaders and trailers")->group(fault);
    app.add_option("--reorder", faults.reorderEvery, "Every n-th stream packet goes out after the next one")->group(fault);
    app.add_option("--drop-acks", faults.acknowledgeLoss, "Fraction of GVCP acknowledges not sent (0 to 1)")
        ->check(CLI::Range(0.0, 1.0))->group(fault);
    app.add_option("--slow-ms", slowMs, "Answer every command this late (PENDING_ACK beyond the pending timeout)")
        ->check(CLI::Range(0, 60000))->group(fault);
    app.add_option("--silent-after-ms", silentMs, "Stop answering and streaming after this time, as if unplugged")
        ->check(CLI::Range(0, 86400000))->group(fault);
    app.add_flag("--refuse-control", faults.refuseControl, "Never grant control to any application")->group(fault);
    app.add_option("--seed", faults.seed, "Seed of the random faults, for runs that repeat exactly")->group(fault);
    CLI11_PARSE(app, argc, argv);

    if (list) {
        for (const VirtualGenTL::CatalogueEntry& entry : VirtualGenTL::DefaultCatalogue())
            std::cout << entry.identity.serialNumber << "  " << entry.model.modelName << "  "
                      << entry.identity.userDefinedName << '\n';
        return 0;
    }
    if (cameras.empty()) {
        std::cerr << "vireo-gv-camera: no camera to serve: give --camera CAMERA@ADDRESS (see --list)\n";
        return 2;
    }
    faults.slowAnswer = std::chrono::milliseconds(slowMs);
    if (silentMs >= 0) faults.silentAfter = std::chrono::milliseconds(silentMs);

    // The signals are taken by sigwait below, not by whichever thread they would interrupt.
    sigset_t signals;
    sigemptyset(&signals);
    for (int signal : {SIGINT, SIGTERM, SIGUSR1}) sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    try {
        std::vector<GvCamera::CameraChoice> choices;
        for (const std::string& text : cameras) choices.push_back(ParseChoice(text));
        GvCamera::Server server(choices, faults, resendBlocks);
        for (const auto& device : server.Devices()) {
            VirtualGenTL::VirtualCamera& camera = device->Camera();
            in_addr ip{htonl(camera.Bootstrap().Get(GigE::Register::currentIpAddress))};
            std::cout << "serving " << camera.Identity().serialNumber << " (" << camera.Model().modelName << ") at "
                      << inet_ntoa(ip) << '\n';
        }
        std::cout << "ready" << std::endl;
        for (;;) {
            int signal = 0;
            sigwait(&signals, &signal);
            if (signal == SIGUSR1) {
                WriteStatistics(server, statisticsPath);
                continue;
            }
            break;
        }
        WriteStatistics(server, statisticsPath);
    } catch (const std::exception& error) {
        std::cerr << "vireo-gv-camera: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
