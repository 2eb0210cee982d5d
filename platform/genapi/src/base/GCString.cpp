#include <Base/GCString.h>

#include <istream>
#include <ostream>

namespace GenICam {

gcstring::gcstring(const char* text) : m_text(text != nullptr ? text : "") {}

gcstring::gcstring(const char* text, size_t count) {
    if (text != nullptr) m_text.assign(text, count);
}

gcstring::gcstring(size_t count, char character) : m_text(count, character) {}

gcstring::gcstring(const std::string& text) : m_text(text) {}

gcstring::gcstring(std::string&& text) noexcept : m_text(std::move(text)) {}

gcstring& gcstring::operator=(const char* text) {
    m_text.assign(text != nullptr ? text : "");
    return *this;
}

gcstring& gcstring::operator=(const std::string& text) {
    m_text = text;
    return *this;
}

gcstring& gcstring::operator+=(const gcstring& text) {
    m_text += text.m_text;
    return *this;
}

gcstring& gcstring::operator+=(const char* text) {
    if (text != nullptr) m_text += text;
    return *this;
}

gcstring& gcstring::operator+=(char character) {
    m_text += character;
    return *this;
}

gcstring& gcstring::append(size_t count, char character) {
    m_text.append(count, character);
    return *this;
}

size_t gcstring::find(const gcstring& text, size_t position) const noexcept { return m_text.find(text.m_text, position); }
size_t gcstring::find(char character, size_t position) const noexcept { return m_text.find(character, position); }
size_t gcstring::rfind(const gcstring& text, size_t position) const noexcept { return m_text.rfind(text.m_text, position); }
size_t gcstring::rfind(char character, size_t position) const noexcept { return m_text.rfind(character, position); }

size_t gcstring::find_first_of(const gcstring& characters, size_t position) const noexcept {
    return m_text.find_first_of(characters.m_text, position);
}

size_t gcstring::find_first_not_of(const gcstring& characters, size_t position) const noexcept {
    return m_text.find_first_not_of(characters.m_text, position);
}

size_t gcstring::find_last_of(const gcstring& characters, size_t position) const noexcept {
    return m_text.find_last_of(characters.m_text, position);
}

size_t gcstring::find_last_not_of(const gcstring& characters, size_t position) const noexcept {
    return m_text.find_last_not_of(characters.m_text, position);
}

gcstring gcstring::substr(size_t position, size_t count) const { return gcstring(m_text.substr(position, count)); }

gcstring operator+(const gcstring& left, const gcstring& right) { return gcstring(left.str() + right.str()); }
gcstring operator+(const gcstring& left, const char* right) { return gcstring(left) += right; }
gcstring operator+(const char* left, const gcstring& right) { return gcstring(left) += right; }
gcstring operator+(const gcstring& left, const std::string& right) { return gcstring(left.str() + right); }
gcstring operator+(const std::string& left, const gcstring& right) { return gcstring(left + right.str()); }
gcstring operator+(const gcstring& left, char right) { return gcstring(left) += right; }

namespace {
// Comparisons treat a null C string as empty, as the constructors do.
const char* OrEmpty(const char* text) noexcept { return text != nullptr ? text : ""; }
} // namespace

bool operator==(const gcstring& left, const gcstring& right) noexcept { return left.str() == right.str(); }
bool operator==(const gcstring& left, const char* right) noexcept { return left.str() == OrEmpty(right); }
bool operator==(const char* left, const gcstring& right) noexcept { return right == left; }
bool operator==(const gcstring& left, const std::string& right) noexcept { return left.str() == right; }
bool operator==(const std::string& left, const gcstring& right) noexcept { return left == right.str(); }
bool operator!=(const gcstring& left, const gcstring& right) noexcept { return !(left == right); }
bool operator!=(const gcstring& left, const char* right) noexcept { return !(left == right); }
bool operator!=(const char* left, const gcstring& right) noexcept { return !(right == left); }
bool operator!=(const gcstring& left, const std::string& right) noexcept { return !(left == right); }
bool operator!=(const std::string& left, const gcstring& right) noexcept { return !(left == right); }
bool operator<(const gcstring& left, const gcstring& right) noexcept { return left.str() < right.str(); }
bool operator<(const gcstring& left, const char* right) noexcept { return left.str().compare(OrEmpty(right)) < 0; }
bool operator<(const char* left, const gcstring& right) noexcept { return right.str().compare(OrEmpty(left)) > 0; }
bool operator>(const gcstring& left, const gcstring& right) noexcept { return right < left; }
bool operator<=(const gcstring& left, const gcstring& right) noexcept { return !(right < left); }
bool operator>=(const gcstring& left, const gcstring& right) noexcept { return !(left < right); }

std::ostream& operator<<(std::ostream& stream, const gcstring& text) { return stream << text.str(); }

std::istream& operator>>(std::istream& stream, gcstring& text) {
    std::string word;
    stream >> word;
    text = gcstring(std::move(word));
    return stream;
}

} // namespace GenICam
