// GenICam::gcstring_vector: a list of strings, as GenApi returns symbolic names and URLs.
#ifndef GENICAM_BASE_GCSTRINGVECTOR_H
#define GENICAM_BASE_GCSTRINGVECTOR_H

#include <vector>

#include <Base/GCString.h>

namespace GenICam {

// A class rather than an alias so that applications can forward-declare it.
class gcstring_vector : public std::vector<gcstring> {
public:
    using std::vector<gcstring>::vector;
};

} // namespace GenICam

#endif
