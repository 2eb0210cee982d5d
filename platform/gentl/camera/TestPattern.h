// Test patterns that differ from frame to frame in every pixel format: a diagonal ramp of
// sample values that moves one step per frame. A colour camera shows colour bars instead in its
// Bayer and RGB formats (mosaiced for Bayer), moving the same way, so that demosaicing shows.
// Rows are copied out of prepared wide rows, so that generating a frame costs about a memory
// copy.
#ifndef VIRTUALGENTL_TESTPATTERN_H
#define VIRTUALGENTL_TESTPATTERN_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace VirtualGenTL {

class TestPattern {
public:
    // Prepares rows for images of the given width and pixel format (PFNC code); a colour
    // camera's pattern is the colour bars where the format has colour.
    TestPattern(uint32_t width, uint32_t pixelFormat, bool colourCamera = false);

    // The colour bars: the pixel at scene position p (x plus the row's shift) has component c
    // (0 red, 1 green, 2 blue) full on or off. Bars are 32 positions wide, 8 of them: white,
    // yellow, cyan, green, magenta, red, blue, black.
    static bool BarComponentOn(uint32_t position, uint32_t component);

    // Bytes of one image row; 0 when the format is not one the pattern can draw.
    size_t RowBytes() const { return m_rowBytes; }
    // Writes height rows into destination (which must hold RowBytes() * height bytes).
    void Draw(uint8_t* destination, uint32_t height, uint64_t frameId) const;

private:
    size_t m_rowBytes = 0;
    size_t m_stepBytes = 0;   // bytes of one step of whole pixels
    // The row repeated for every shift; a mosaic has four, by row parity and by the parity of
    // the shift in pixels (which turns the colour filter's phase).
    std::vector<uint8_t> m_wideRows[4];
    bool m_mosaic = false;
    uint32_t m_pixelsPerStep = 1;
};

} // namespace VirtualGenTL

#endif
