// GenICam::gcstring: the string type of the GenICam interfaces. It interoperates with C
// strings and std::string in both directions so that code written against GenApi compiles
// unchanged, whichever of the two it uses.
#ifndef GENICAM_BASE_GCSTRING_H
#define GENICAM_BASE_GCSTRING_H

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>

#include <Base/GCLinkage.h>

namespace GenICam {

class GCBASE_API gcstring {
public:
    static constexpr size_t npos = static_cast<size_t>(-1);

    gcstring() = default;
    // A null pointer is taken as the empty string rather than undefined behaviour.
    gcstring(const char* text);
    gcstring(const char* text, size_t count);
    gcstring(size_t count, char character);
    gcstring(const std::string& text);
    gcstring(std::string&& text) noexcept;
    gcstring(const gcstring&) = default;
    gcstring(gcstring&&) noexcept = default;
    ~gcstring() = default;

    gcstring& operator=(const gcstring&) = default;
    gcstring& operator=(gcstring&&) noexcept = default;
    gcstring& operator=(const char* text);
    gcstring& operator=(const std::string& text);

    gcstring& operator+=(const gcstring& text);
    gcstring& operator+=(const char* text);
    gcstring& operator+=(char character);
    gcstring& append(const gcstring& text) { return *this += text; }
    gcstring& append(size_t count, char character);

    const char* c_str() const noexcept { return m_text.c_str(); }
    size_t size() const noexcept { return m_text.size(); }
    size_t length() const noexcept { return m_text.size(); }
    bool empty() const noexcept { return m_text.empty(); }
    void clear() noexcept { m_text.clear(); }
    void reserve(size_t capacity) { m_text.reserve(capacity); }
    void resize(size_t count, char fill = '\0') { m_text.resize(count, fill); }

    char operator[](size_t index) const { return m_text[index]; }
    char& operator[](size_t index) { return m_text[index]; }
    char at(size_t index) const { return m_text.at(index); }

    size_t find(const gcstring& text, size_t position = 0) const noexcept;
    size_t find(char character, size_t position = 0) const noexcept;
    size_t rfind(const gcstring& text, size_t position = npos) const noexcept;
    size_t rfind(char character, size_t position = npos) const noexcept;
    size_t find_first_of(const gcstring& characters, size_t position = 0) const noexcept;
    size_t find_first_not_of(const gcstring& characters, size_t position = 0) const noexcept;
    size_t find_last_of(const gcstring& characters, size_t position = npos) const noexcept;
    size_t find_last_not_of(const gcstring& characters, size_t position = npos) const noexcept;
    gcstring substr(size_t position = 0, size_t count = npos) const;
    int compare(const gcstring& other) const noexcept { return m_text.compare(other.m_text); }

    // Implicit both ways, as GenApi users expect (printf("%s", (const char*)name),
    // std::string text = name). Assigning a gcstring to an existing std::string is
    // ambiguous for that reason: write text = name.c_str() or use the std::string() cast.
    operator const char*() const noexcept { return m_text.c_str(); }
    operator std::string() const { return m_text; }
    const std::string& str() const noexcept { return m_text; }

private:
    std::string m_text;
};

GCBASE_API gcstring operator+(const gcstring& left, const gcstring& right);
GCBASE_API gcstring operator+(const gcstring& left, const char* right);
GCBASE_API gcstring operator+(const char* left, const gcstring& right);
GCBASE_API gcstring operator+(const gcstring& left, const std::string& right);
GCBASE_API gcstring operator+(const std::string& left, const gcstring& right);
GCBASE_API gcstring operator+(const gcstring& left, char right);

GCBASE_API bool operator==(const gcstring& left, const gcstring& right) noexcept;
GCBASE_API bool operator==(const gcstring& left, const char* right) noexcept;
GCBASE_API bool operator==(const char* left, const gcstring& right) noexcept;
GCBASE_API bool operator==(const gcstring& left, const std::string& right) noexcept;
GCBASE_API bool operator==(const std::string& left, const gcstring& right) noexcept;
GCBASE_API bool operator!=(const gcstring& left, const gcstring& right) noexcept;
GCBASE_API bool operator!=(const gcstring& left, const char* right) noexcept;
GCBASE_API bool operator!=(const char* left, const gcstring& right) noexcept;
GCBASE_API bool operator!=(const gcstring& left, const std::string& right) noexcept;
GCBASE_API bool operator!=(const std::string& left, const gcstring& right) noexcept;
GCBASE_API bool operator<(const gcstring& left, const gcstring& right) noexcept;
GCBASE_API bool operator<(const gcstring& left, const char* right) noexcept;
GCBASE_API bool operator<(const char* left, const gcstring& right) noexcept;
GCBASE_API bool operator>(const gcstring& left, const gcstring& right) noexcept;
GCBASE_API bool operator<=(const gcstring& left, const gcstring& right) noexcept;
GCBASE_API bool operator>=(const gcstring& left, const gcstring& right) noexcept;

GCBASE_API std::ostream& operator<<(std::ostream& stream, const gcstring& text);
// Reads one whitespace-delimited word, as for std::string.
GCBASE_API std::istream& operator>>(std::istream& stream, gcstring& text);

} // namespace GenICam

template <>
struct std::hash<GenICam::gcstring> {
    size_t operator()(const GenICam::gcstring& text) const noexcept {
        return std::hash<std::string>()(text.str());
    }
};

#endif
