#include "QoiBenchmarkFrames.h"

#include <algorithm>
#include <cmath>

namespace Vireo::Bench {
namespace {

uint64_t Mix(uint64_t value) { // splitmix64 finaliser
    value += 0x9E3779B97F4A7C15ull;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ull;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBull;
    return value ^ (value >> 31);
}

double Lattice(int64_t x, int64_t y, uint64_t seed) {
    return static_cast<double>(Mix(seed ^ Mix(static_cast<uint64_t>(x) * 0x1F1F1F1Full + static_cast<uint64_t>(y))) >> 11) * 0x1.0p-53;
}

// Smoothly interpolated random values on a grid of the given cell size, in [0, 1).
double ValueNoise(double x, double y, double cell, uint64_t seed) {
    const double gx = x / cell, gy = y / cell;
    const auto ix = static_cast<int64_t>(std::floor(gx)), iy = static_cast<int64_t>(std::floor(gy));
    double fx = gx - static_cast<double>(ix), fy = gy - static_cast<double>(iy);
    fx = fx * fx * (3 - 2 * fx);
    fy = fy * fy * (3 - 2 * fy);
    const double top = Lattice(ix, iy, seed) + (Lattice(ix + 1, iy, seed) - Lattice(ix, iy, seed)) * fx;
    const double bottom = Lattice(ix, iy + 1, seed) + (Lattice(ix + 1, iy + 1, seed) - Lattice(ix, iy + 1, seed)) * fx;
    return top + (bottom - top) * fy;
}

// Normally distributed noise from a counter, by the central limit of four uniform values.
struct Noise {
    uint64_t state;
    double Next() {
        double sum = 0;
        for (int i = 0; i < 4; ++i) sum += static_cast<double>(Mix(state++) >> 11) * 0x1.0p-53;
        return (sum - 2.0) * 1.7320508; // unit variance
    }
};

struct Scene {
    double width, height;

    // Brightness in 0..255 (unclipped) and two smooth colour offsets at a point.
    void Sample(double x, double y, double& light, double& redShift, double& blueShift) const {
        const double u = x / width, v = y / height;
        const double dx = u - 0.5, dy = v - 0.5;
        const double vignette = 1.0 - 0.9 * (dx * dx + dy * dy);
        light = (60 + 120 * u + 30 * v) * vignette;
        redShift = 0.25 * (ValueNoise(x, y, 400, 11) - 0.5);
        blueShift = 0.25 * (ValueNoise(x, y, 500, 12) - 0.5);

        // Textured surface (middle band): fabric-like fine detail over coarse mottling.
        if (u > 0.35 && u < 0.7) {
            light += 40 * (ValueNoise(x, y, 48, 1) - 0.5) + 24 * (ValueNoise(x, y, 9, 2) - 0.5) + 10 * std::sin(x * 0.7);
        }
        // A machined part: a disc with a radial gradient and a clipped specular highlight.
        const double px = x - width * 0.2, py = y - height * 0.6, radius = height * 0.18;
        const double distance = std::sqrt(px * px + py * py);
        if (distance < radius) {
            light = 90 + 140 * (1 - distance / radius);
            redShift = blueShift = 0;
            const double hx = px + radius * 0.3, hy = py + radius * 0.3;
            if (hx * hx + hy * hy < radius * radius * 0.04) light = 400; // saturates
        }
        // Printed labels: flat white with black bars, as a barcode or text would be.
        if (u > 0.75 && u < 0.95 && v > 0.1 && v < 0.4) {
            const bool bar = v > 0.2 && std::fmod(x * 0.37 + std::floor(x / 29) * 3, 11.0) < 4.0;
            light = bar ? -20 : 300; // ink below black level, paper above white: both clip
            redShift = blueShift = 0;
        }
        // A shadowed corner below the black level.
        if (u < 0.12 && v < 0.15) light = -10;
    }
};

uint8_t Clip(double value) { return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L)); }

// Shot noise grows with the square root of the signal; read noise is a floor under it.
double NoiseSigma(double light) { return 0.9 + 0.12 * std::sqrt(std::max(light, 0.0)); }

} // namespace

Frames MakeFrames(uint32_t width, uint32_t height) {
    Frames frames;
    frames.width = width;
    frames.height = height;
    frames.rgb.resize(static_cast<size_t>(width) * height * 3);
    frames.mono.resize(static_cast<size_t>(width) * height);
    const Scene scene{static_cast<double>(width), static_cast<double>(height)};
    Noise noise{42};
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            double light, redShift, blueShift;
            scene.Sample(x, y, light, redShift, blueShift);
            const double sigma = NoiseSigma(light);
            const size_t i = static_cast<size_t>(y) * width + x;
            frames.rgb[i * 3 + 0] = Clip(light * (1 + redShift) + sigma * noise.Next());
            frames.rgb[i * 3 + 1] = Clip(light + sigma * noise.Next());
            frames.rgb[i * 3 + 2] = Clip(light * (1 + blueShift) + sigma * noise.Next());
            frames.mono[i] = Clip(light + sigma * noise.Next());
        }
    }
    return frames;
}

} // namespace Vireo::Bench
