// Records that the library itself logs, outside any logger object: they go to the process-wide
// logging service, where the system's logger (when one is open) filters and writes them.
#ifndef VIREO_SRC_TRANSPORT_LIBRARYLOG_H
#define VIREO_SRC_TRANSPORT_LIBRARYLOG_H

#include <string>

#include <PelgoLog/PelgoLog.h>

namespace Vireo {

inline void LibraryLog(int level, const std::string& message) {
    if (PelgoLog::Service* service = PelgoLog::Init()) {
        service->Log("vireo", level, "", message.c_str());
        PelgoLog::Deinit(service);
    }
}

} // namespace Vireo

#endif
