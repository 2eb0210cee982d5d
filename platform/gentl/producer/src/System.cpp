#include "Modules.h"
#include "ProducerState.h"

namespace VirtualGenTL {
namespace {

constexpr uint32_t kInterfaceCount = 2;

std::unique_ptr<RegisterSpace> SystemPort() {
    DescriptionHeader header{"VireoVirtualGenTL", "Vireo", "Virtual GenTL producer system module", "TLPort", false};
    std::vector<Feature> features = {
        StringFeature("TLID", "SystemInformation", 64),
        StringFeature("TLVendorName", "SystemInformation", 64),
        StringFeature("TLModelName", "SystemInformation", 64),
        StringFeature("TLVersion", "SystemInformation", 32),
        EnumerationFeature("TLType", "SystemInformation", {{"GigEVision", 0}}, Access::RO),
        IntegerFeature("GenTLVersionMajor", "SystemInformation", Access::RO, 0, 255),
        IntegerFeature("GenTLVersionMinor", "SystemInformation", Access::RO, 0, 255),
        CommandFeature("InterfaceUpdateList", "InterfaceEnumeration"),
        IntegerFeature("InterfaceSelector", "InterfaceEnumeration", Access::RW, 0, kInterfaceCount - 1),
        StringFeature("InterfaceID", "InterfaceEnumeration", 64),
    };
    auto description = std::make_shared<const Description>(header, features);
    const std::string xml = description->Xml();
    auto port = std::make_unique<RegisterSpace>(description, std::vector<uint8_t>(xml.begin(), xml.end()));
    port->SetString("TLID", "VireoVirtualGenTL");
    port->SetString("TLVendorName", "Vireo");
    port->SetString("TLModelName", "Virtual GigE Vision producer");
    port->SetString("TLVersion", "1.0.0");
    port->SetInteger("GenTLVersionMajor", 1);
    port->SetInteger("GenTLVersionMinor", 5);
    port->SetString("InterfaceID", "VirtualGigE0");
    return port;
}

} // namespace

System::System() : Module(kKind, SystemPort(), "GenTLSystem.xml", "TLSystem", "VireoVirtualGenTL") {
    for (uint32_t index = 0; index < kInterfaceCount; ++index) {
        // Locally administered MACs and one /24 per adapter.
        m_interfaces.push_back(std::make_shared<Interface>(index, 0x025649520000ull + index,
                                                           0xC0A80A01u + index * 0x0A00u, 0xFFFFFF00u));
    }
    m_port->OnWrite("InterfaceSelector", [this](int64_t value, uint32_t) {
        if (value >= 0 && size_t(value) < m_interfaces.size()) m_port->SetString("InterfaceID", m_interfaces[value]->Id());
    });
}

void System::Info(GenTL::TL_INFO_CMD command, InfoAnswer& answer) {
    switch (command) {
    case GenTL::TL_INFO_ID: answer.String("VireoVirtualGenTL"); break;
    case GenTL::TL_INFO_VENDOR: answer.String("Vireo"); break;
    case GenTL::TL_INFO_MODEL: answer.String("Virtual GigE Vision producer"); break;
    case GenTL::TL_INFO_VERSION: answer.String("1.0.0"); break;
    case GenTL::TL_INFO_TLTYPE: answer.String("GEV"); break;
    case GenTL::TL_INFO_NAME: answer.String("libgentl.so.1"); break;
    case GenTL::TL_INFO_PATHNAME: answer.String("libgentl.so.1"); break;
    case GenTL::TL_INFO_DISPLAYNAME: answer.String("Vireo virtual GigE Vision producer"); break;
    case GenTL::TL_INFO_CHAR_ENCODING: answer.Int32(0); break;  // ASCII
    case GenTL::TL_INFO_GENTL_VER_MAJOR: answer.UInt32(1); break;
    case GenTL::TL_INFO_GENTL_VER_MINOR: answer.UInt32(5); break;
    default: Fail(GenTL::GC_ERR_INVALID_PARAMETER, "unknown TL_INFO command " + std::to_string(command));
    }
}

std::vector<std::shared_ptr<Interface>> System::Interfaces() const { return m_interfaces; }

std::shared_ptr<Interface> System::FindInterface(const std::string& id) const {
    for (const auto& iface : m_interfaces)
        if (iface->Id() == id) return iface;
    return nullptr;
}

void System::CloseAll() {
    for (const auto& iface : m_interfaces) Handles::Remove(iface->Handle());
}

} // namespace VirtualGenTL
