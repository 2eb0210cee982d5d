#include "Errors.h"

namespace VirtualGenTL {
namespace {

struct LastError {
    GenTL::GC_ERROR code = GenTL::GC_ERR_SUCCESS;
    std::string text = "No error";
};

LastError& ThreadLastError() {
    thread_local LastError error;
    return error;
}

} // namespace

void SetLastError(GenTL::GC_ERROR code, const std::string& text) {
    ThreadLastError().code = code;
    ThreadLastError().text = text;
}

GenTL::GC_ERROR LastErrorCode() { return ThreadLastError().code; }
const std::string& LastErrorText() { return ThreadLastError().text; }

} // namespace VirtualGenTL
