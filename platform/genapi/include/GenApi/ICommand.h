#ifndef GENAPI_ICOMMAND_H
#define GENAPI_ICOMMAND_H

#include <GenApi/IValue.h>

namespace GenApi {

class GENAPI_DECL ICommand : virtual public IValue {
public:
    virtual void Execute(bool Verify = true) = 0;
    virtual void operator()() = 0;
    // True once the device has finished the command (its register no longer holds the command value).
    virtual bool IsDone(bool Verify = true) = 0;
};

} // namespace GenApi

#endif
