// Failures inside the producer are thrown as ProducerError and turned, at the C boundary,
// into the result code and the calling thread's last-error text.
#ifndef VIRTUALGENTL_ERRORS_H
#define VIRTUALGENTL_ERRORS_H

#include <string>

#include <GenTL/GenTL.h>

#include "camera/Failure.h"

namespace VirtualGenTL {

// The last error of the calling thread, as GCGetLastError reports it.
void SetLastError(GenTL::GC_ERROR code, const std::string& text);
GenTL::GC_ERROR LastErrorCode();
const std::string& LastErrorText();

// Runs one entry point: checks the injected faults for it, runs the body and turns whatever
// it throws into a result code with a last-error text. A body that returns normally yields
// GC_ERR_SUCCESS.
template <class Body>
GenTL::GC_ERROR Guard(const char* function, Body&& body);

// Whether the control interface asked this call of the function to fail; throws if so.
void CheckInjectedFault(const char* function);
// Likewise for a fault aimed at one module: the running entry point's calls on the module with
// this ID (an interface or device ID).
void CheckInjectedFaultOn(const std::string& moduleId);

// The entry point that the calling thread is running, for faults aimed at one module.
class CurrentEntryPoint {
public:
    explicit CurrentEntryPoint(const char* function) : m_previous(s_function) { s_function = function; }
    ~CurrentEntryPoint() { s_function = m_previous; }
    CurrentEntryPoint(const CurrentEntryPoint&) = delete;
    CurrentEntryPoint& operator=(const CurrentEntryPoint&) = delete;
    static const char* Name() { return s_function; }

private:
    const char* m_previous;
    static thread_local const char* s_function;
};

template <class Body>
GenTL::GC_ERROR Guard(const char* function, Body&& body) {
    try {
        const CurrentEntryPoint entryPoint(function);
        CheckInjectedFault(function);
        body();
        return GenTL::GC_ERR_SUCCESS;
    } catch (const ProducerError& error) {
        SetLastError(error.Code(), std::string(function) + ": " + error.what());
        return error.Code();
    } catch (const std::bad_alloc&) {
        SetLastError(GenTL::GC_ERR_OUT_OF_MEMORY, std::string(function) + ": out of memory");
        return GenTL::GC_ERR_OUT_OF_MEMORY;
    } catch (const std::exception& error) {
        SetLastError(GenTL::GC_ERR_ERROR, std::string(function) + ": " + error.what());
        return GenTL::GC_ERR_ERROR;
    }
}

} // namespace VirtualGenTL

#endif
