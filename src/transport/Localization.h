// The SDK's translated messages, from the message catalog "vireo".
//
// init opens the catalog with catopen("vireo", NL_CAT_LOCALE): the file is found through
// NLSPATH and the LC_MESSAGES locale (e.g. /usr/share/locale/de/LC_MESSAGES/vireo.cat), and
// made with gencat from a source of "$set" sections and "<number> <text>" lines. al answers
// the catalog's text, or the default text when the catalog is not open or lacks the
// message; every message of the SDK carries its English text as that default, so a missing
// catalog only means untranslated messages. Thread-safe; init and close may be called
// repeatedly (init on an open catalog keeps it).
#ifndef VIREO_SRC_TRANSPORT_LOCALIZATION_H
#define VIREO_SRC_TRANSPORT_LOCALIZATION_H

#include <string>

namespace Vireo::loc {

// The set that al(number, defaultText) reads from.
constexpr int kMessageSet = 1;

// True when the catalog could be opened (or already was).
bool init();
std::string al(int set, int number, const char* defaultText);
std::string al(int number, const char* defaultText);
void close();

} // namespace Vireo::loc

#endif
