// Test patterns that differ from frame to frame in every pixel format: a diagonal ramp of
// sample values that moves one step per frame. Rows are copied out of one prepared wide row,
// so that generating a frame costs about a memory copy.
#ifndef VIRTUALGENTL_TESTPATTERN_H
#define VIRTUALGENTL_TESTPATTERN_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace VirtualGenTL {

class TestPattern {
public:
    // Prepares rows for images of the given width and pixel format (PFNC code).
    TestPattern(uint32_t width, uint32_t pixelFormat);

    // Bytes of one image row; 0 when the format is not one the pattern can draw.
    size_t RowBytes() const { return m_rowBytes; }
    // Writes height rows into destination (which must hold RowBytes() * height bytes).
    void Draw(uint8_t* destination, uint32_t height, uint64_t frameId) const;

private:
    size_t m_rowBytes = 0;
    size_t m_stepBytes = 0;   // bytes of one step of whole pixels
    std::vector<uint8_t> m_wideRow;  // the row repeated for every shift
};

} // namespace VirtualGenTL

#endif
