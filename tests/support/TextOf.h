// The text of the GenICam exception a call throws ("" when it throws none): tests compare the
// whole message, as users see it.
#ifndef VIREO_TESTS_SUPPORT_TEXTOF_H
#define VIREO_TESTS_SUPPORT_TEXTOF_H

#include <functional>
#include <string>

#include <GenICam.h>

namespace Vireo {

inline std::string TextOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const GenICam::GenericException& error) {
        return error.what();
    }
    return "";
}

} // namespace Vireo

#endif
