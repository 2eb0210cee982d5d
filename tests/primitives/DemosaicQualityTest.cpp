// Demosaicing quality: colour images drawn here (deterministic), seen through a Bayer filter,
// reconstructed by our kernels and by OpenCV's, and compared with the originals by PSNR.
//
// The images imitate photographs: smooth illumination, shaded overlapping objects with soft
// edges, fine textures and thin lines, and colour channels that follow a common luminance
// (the colour differences vary slowly), which is what demosaicing relies on.
#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "primitives/Demosaic.h"

namespace Vireo {
namespace {

using namespace Primitives;

constexpr size_t kWidth = 384, kHeight = 256;
// Borders are left out of every comparison: OpenCV fills its outermost pixels crudely.
constexpr size_t kBorder = 6;
constexpr double kPi = 3.14159265358979323846;

struct Colour {
    double r, g, b;
};
Colour operator*(Colour c, double s) { return {c.r * s, c.g * s, c.b * s}; }
Colour operator+(Colour a, Colour b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }
Colour Mix(Colour a, Colour b, double t) { return a * (1 - t) + b * t; }

// Linear light in [0, 1] per channel, rows top to bottom.
struct Picture {
    std::string name;
    std::vector<Colour> pixels = std::vector<Colour>(kWidth * kHeight);
    Colour& at(size_t x, size_t y) { return pixels[y * kWidth + x]; }
};

double Smooth(double edge0, double edge1, double v) {
    const double t = std::clamp((v - edge0) / (edge1 - edge0), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

// Coverage of a pixel by a shape at signed distance d (negative inside), with an edge about
// one pixel wide, as a lens and the sensor's pixel area make it.
double Coverage(double d) { return std::clamp(0.5 - d, 0.0, 1.0); }

// Value noise: random values on a lattice of the given cell size, smoothly interpolated;
// octaves added with halving amplitude make a natural (fractal) texture.
class Noise {
public:
    Noise(uint32_t seed) : values_(256 * 256) {
        std::mt19937 random(seed);
        for (double& value : values_) value = std::uniform_real_distribution<double>(0, 1)(random);
    }
    double At(double x, double y) const {
        const double fx = std::floor(x), fy = std::floor(y);
        const double tx = Smooth(0, 1, x - fx), ty = Smooth(0, 1, y - fy);
        const auto lattice = [&](double i, double j) {
            return values_[(size_t(long(j) & 255) << 8) | size_t(long(i) & 255)];
        };
        return (1 - ty) * ((1 - tx) * lattice(fx, fy) + tx * lattice(fx + 1, fy)) +
               ty * ((1 - tx) * lattice(fx, fy + 1) + tx * lattice(fx + 1, fy + 1));
    }
    double Fractal(double x, double y, double cell, int octaves) const {
        double sum = 0, amplitude = 0.5, total = 0;
        for (int octave = 0; octave < octaves; ++octave, cell /= 2, amplitude /= 2) {
            sum += amplitude * At(x / cell + 17 * octave, y / cell + 31 * octave);
            total += amplitude;
        }
        return sum / total;
    }

private:
    std::vector<double> values_;
};

double DistanceToSegment(double px, double py, double ax, double ay, double bx, double by) {
    const double dx = bx - ax, dy = by - ay;
    const double t = std::clamp(((px - ax) * dx + (py - ay) * dy) / (dx * dx + dy * dy), 0.0, 1.0);
    return std::hypot(px - ax - t * dx, py - ay - t * dy);
}

Colour RandomColour(std::mt19937& random, double low, double high) {
    std::uniform_real_distribution<double> u(low, high);
    return {u(random), u(random), u(random)};
}

// Soft illumination: brighter towards one corner, darker at the edges.
double Illumination(double x, double y, double cx, double cy) {
    const double r = std::hypot((x - cx) / kWidth, (y - cy) / kHeight);
    return 0.45 + 0.55 * std::exp(-1.6 * r * r);
}

Picture Gradients() {
    Picture p{"gradients"};
    for (size_t y = 0; y < kHeight; ++y)
        for (size_t x = 0; x < kWidth; ++x) {
            const double light = Illumination(x, y, kWidth * 0.3, kHeight * 0.2);
            p.at(x, y) = Colour{0.55 + 0.35 * std::sin(x / 70.0), 0.5 + 0.25 * std::cos(y / 55.0),
                                0.45 + 0.35 * std::sin((x + 2.0 * y) / 110.0)} * light;
        }
    return p;
}

// Shaded ellipses, overlapping, each lit from the upper left.
Picture Shapes() {
    Picture p{"shapes"};
    std::mt19937 random(21);
    std::uniform_real_distribution<double> u(0, 1);
    for (size_t y = 0; y < kHeight; ++y)
        for (size_t x = 0; x < kWidth; ++x)
            p.at(x, y) = Mix(Colour{0.25, 0.3, 0.38}, Colour{0.7, 0.66, 0.55}, double(y) / kHeight) *
                         Illumination(x, y, kWidth * 0.6, 0);
    for (int shape = 0; shape < 16; ++shape) {
        const double cx = u(random) * kWidth, cy = u(random) * kHeight;
        const double a = 15 + u(random) * 60, b = 15 + u(random) * 50, angle = u(random) * kPi;
        const Colour colour = RandomColour(random, 0.05, 0.95);
        for (size_t y = 0; y < kHeight; ++y)
            for (size_t x = 0; x < kWidth; ++x) {
                const double dx = x - cx, dy = y - cy;
                const double u1 = (dx * std::cos(angle) + dy * std::sin(angle)) / a;
                const double v1 = (-dx * std::sin(angle) + dy * std::cos(angle)) / b;
                const double radius = std::hypot(u1, v1);
                const double cover = Coverage((radius - 1) * std::min(a, b));
                if (cover <= 0) continue;
                const double shade = 0.55 + 0.45 * Smooth(1.2, -0.6, (dx + dy) / (a + b) + radius * 0.4);
                p.at(x, y) = Mix(p.at(x, y), colour * shade, cover);
            }
    }
    return p;
}

// A woven fabric: two thread directions of periods of a few pixels, dyed in slowly varying
// colours, under soft light.
Picture Fabric() {
    Picture p{"fabric"};
    const Noise noise(5);
    for (size_t y = 0; y < kHeight; ++y)
        for (size_t x = 0; x < kWidth; ++x) {
            const double u = x * 0.94 + y * 0.34, v = -x * 0.34 + y * 0.94;
            const double warp = 0.5 + 0.5 * std::sin(2 * kPi * u / 6.5), weft = 0.5 + 0.5 * std::sin(2 * kPi * v / 8.3);
            const double weave = 0.35 + 0.65 * (std::sin(2 * kPi * (u + v) / 26) > 0 ? warp : weft);
            const double hue = noise.Fractal(x, y, 120, 2);
            const Colour dye = Mix(Colour{0.75, 0.25, 0.2}, Colour{0.2, 0.35, 0.7}, hue);
            p.at(x, y) = dye * (weave * Illumination(x, y, kWidth * 0.5, kHeight * 0.5));
        }
    return p;
}

// Thin anti-aliased lines (wires, twigs) of one or two pixels across a soft noisy background.
Picture Lines() {
    Picture p{"lines"};
    const Noise noise(8);
    std::mt19937 random(9);
    std::uniform_real_distribution<double> u(0, 1);
    for (size_t y = 0; y < kHeight; ++y)
        for (size_t x = 0; x < kWidth; ++x) {
            const double n = noise.Fractal(x, y, 90, 3);
            p.at(x, y) = Mix(Colour{0.55, 0.62, 0.7}, Colour{0.75, 0.7, 0.55}, n) * Illumination(x, y, 0, kHeight);
        }
    for (int line = 0; line < 45; ++line) {
        const double ax = u(random) * kWidth, ay = u(random) * kHeight;
        const double angle = u(random) * kPi, length = 60 + u(random) * 250;
        const double bx = ax + length * std::cos(angle), by = ay + length * std::sin(angle);
        const double halfWidth = 0.4 + u(random) * 0.7;
        const Colour colour = u(random) < 0.6 ? RandomColour(random, 0.0, 0.25) : RandomColour(random, 0.5, 1.0);
        for (size_t y = 0; y < kHeight; ++y)
            for (size_t x = 0; x < kWidth; ++x) {
                const double cover = Coverage(DistanceToSegment(x, y, ax, ay, bx, by) - halfWidth);
                if (cover > 0) p.at(x, y) = Mix(p.at(x, y), colour, cover);
            }
    }
    return p;
}

// Leaves: fractal detail down to a couple of pixels, greens and yellows with dark gaps.
Picture Foliage() {
    Picture p{"foliage"};
    const Noise detail(13), tint(14);
    for (size_t y = 0; y < kHeight; ++y)
        for (size_t x = 0; x < kWidth; ++x) {
            const double d = detail.Fractal(x, y, 48, 5);
            const double leaf = Smooth(0.38, 0.62, d);
            const double t = tint.Fractal(x, y, 100, 2);
            const Colour green = Mix(Colour{0.15, 0.45, 0.1}, Colour{0.6, 0.7, 0.15}, t);
            p.at(x, y) = Mix(Colour{0.05, 0.08, 0.04}, green * (0.5 + d), leaf) * Illumination(x, y, kWidth, 0);
        }
    return p;
}

// A street: sky, walls with rows of windows a few pixels across, some lit.
Picture Buildings() {
    Picture p{"buildings"};
    std::mt19937 random(17);
    std::uniform_real_distribution<double> u(0, 1);
    for (size_t y = 0; y < kHeight; ++y)
        for (size_t x = 0; x < kWidth; ++x)
            p.at(x, y) = Mix(Colour{0.35, 0.55, 0.9}, Colour{0.85, 0.8, 0.75}, double(y) / kHeight);
    double left = -10;
    while (left < kWidth) {
        const double right = left + 40 + u(random) * 70, top = 30 + u(random) * 120;
        const Colour wall = RandomColour(random, 0.25, 0.8);
        const double windowWidth = 3 + std::floor(u(random) * 4), windowHeight = 4 + std::floor(u(random) * 4);
        for (size_t y = 0; y < kHeight; ++y)
            for (size_t x = 0; x < kWidth; ++x) {
                const double cover = Coverage(std::max({left + 0.3 - x, x - right, top + 0.4 - y}));
                if (cover <= 0) continue;
                const double cellX = std::fmod(x - left, windowWidth * 2), cellY = std::fmod(y - top, windowHeight * 2);
                const bool window = cellX > windowWidth * 0.5 && cellX < windowWidth * 1.5 &&
                                    cellY > windowHeight * 0.5 && cellY < windowHeight * 1.5 && y > top + 3;
                const bool lit = std::sin(std::floor((x - left) / (2 * windowWidth)) * 12.9898 +
                                          std::floor((y - top) / (2 * windowHeight)) * 78.233) > 0.3;
                const Colour surface = window ? (lit ? Colour{0.95, 0.85, 0.45} : Colour{0.1, 0.12, 0.15})
                                              : wall * (0.8 + 0.2 * double(x - left) / (right - left));
                p.at(x, y) = Mix(p.at(x, y), surface, cover);
            }
        left = right + u(random) * 6;
    }
    return p;
}

// Hair: many thin curved strands over skin, in related browns.
Picture Hair() {
    Picture p{"hair"};
    std::mt19937 random(23);
    std::uniform_real_distribution<double> u(0, 1);
    for (size_t y = 0; y < kHeight; ++y)
        for (size_t x = 0; x < kWidth; ++x)
            p.at(x, y) = Colour{0.85, 0.62, 0.5} * Illumination(x, y, kWidth * 0.4, kHeight * 0.6);
    for (int strand = 0; strand < 160; ++strand) {
        const double x0 = u(random) * kWidth, bend = (u(random) - 0.5) * 120, tilt = (u(random) - 0.5) * 80;
        const Colour colour = Mix(Colour{0.25, 0.14, 0.06}, Colour{0.55, 0.38, 0.2}, u(random)) * (0.6 + 0.5 * u(random));
        const double halfWidth = 0.35 + 0.35 * u(random);
        double px = x0, py = 0;
        for (int step = 1; step <= 16; ++step) {
            const double t = step / 16.0;
            const double nx = x0 + tilt * t + bend * t * t, ny = t * kHeight;
            const size_t xLow = size_t(std::max(0.0, std::min(px, nx) - 3)), xHigh = size_t(std::clamp(std::max(px, nx) + 4, 0.0, double(kWidth)));
            for (size_t y = size_t(py); y < std::min(kHeight, size_t(ny) + 2); ++y)
                for (size_t x = xLow; x < xHigh; ++x) {
                    const double cover = Coverage(DistanceToSegment(x, y, px, py, nx, ny) - halfWidth);
                    if (cover > 0) p.at(x, y) = Mix(p.at(x, y), colour, cover * 0.9);
                }
            px = nx, py = ny;
        }
    }
    return p;
}

// sRGB-like encoding into 8 bits, as a camera's output would be.
cv::Mat Encoded(const Picture& picture) {
    cv::Mat bgr(int(kHeight), int(kWidth), CV_8UC3);
    for (size_t y = 0; y < kHeight; ++y)
        for (size_t x = 0; x < kWidth; ++x) {
            const Colour c = picture.pixels[y * kWidth + x];
            const auto encode = [](double v) {
                return cv::saturate_cast<uint8_t>(255 * std::pow(std::clamp(v, 0.0, 1.0), 1 / 2.2) + 0.5);
            };
            bgr.at<cv::Vec3b>(int(y), int(x)) = {encode(c.b), encode(c.g), encode(c.r)};
        }
    return bgr;
}

int ColourAt(BayerGrid grid, size_t x, size_t y) { // 0 red, 1 green, 2 blue
    static const int kPatterns[4][4] = {{2, 1, 1, 0}, {0, 1, 1, 2}, {1, 2, 0, 1}, {1, 0, 2, 1}};
    return kPatterns[int(grid)][(y % 2) * 2 + x % 2];
}

cv::Mat MosaicOf(const cv::Mat& bgr, BayerGrid grid) {
    cv::Mat mosaic(bgr.rows, bgr.cols, CV_8UC1);
    for (int y = 0; y < bgr.rows; ++y)
        for (int x = 0; x < bgr.cols; ++x) mosaic.at<uint8_t>(y, x) = bgr.at<cv::Vec3b>(y, x)[2 - ColourAt(grid, x, y)];
    return mosaic;
}

double Psnr(const cv::Mat& original, const cv::Mat& result, double peak) {
    const cv::Rect inner{int(kBorder), int(kBorder), original.cols - int(2 * kBorder), original.rows - int(2 * kBorder)};
    cv::Mat a, b;
    original(inner).convertTo(a, CV_64F);
    result(inner).convertTo(b, CV_64F);
    const double mse = cv::norm(a, b, cv::NORM_L2SQR) / double(a.total() * a.channels());
    return 10 * std::log10(peak * peak / std::max(mse, 1e-12));
}

using Kernel8 = void (*)(const Mosaic<uint8_t>&, size_t, size_t, uint8_t*, ColourOrder);
using Kernel16 = void (*)(const Mosaic<uint16_t>&, size_t, size_t, uint16_t*, ColourOrder);

cv::Mat Ours8(Kernel8 kernel, const cv::Mat& mosaic, BayerGrid grid) {
    cv::Mat bgr(mosaic.rows, mosaic.cols, CV_8UC3);
    kernel({mosaic.ptr<uint8_t>(), size_t(mosaic.cols), size_t(mosaic.rows), grid}, 0, size_t(mosaic.rows),
           bgr.ptr<uint8_t>(), {3, true});
    return bgr;
}

cv::Mat Ours16(Kernel16 kernel, const cv::Mat& mosaic, BayerGrid grid) {
    cv::Mat bgr(mosaic.rows, mosaic.cols, CV_16UC3);
    kernel({mosaic.ptr<uint16_t>(), size_t(mosaic.cols), size_t(mosaic.rows), grid}, 0, size_t(mosaic.rows),
           bgr.ptr<uint16_t>(), {3, true});
    return bgr;
}

// OpenCV names its Bayer codes after the colours of the second and third samples of the
// second row, not the first two samples of the first: our RGGB is its BayerBG, BGGR its
// BayerRG, GBRG its BayerGR and GRBG its BayerGB. The test below checks that each of these
// reconstructs best of the four.
int OpenCvBayerBase(BayerGrid grid) {
    switch (grid) {
    case BayerGrid::RGGB: return cv::COLOR_BayerBG2BGR;
    case BayerGrid::BGGR: return cv::COLOR_BayerRG2BGR;
    case BayerGrid::GBRG: return cv::COLOR_BayerGR2BGR;
    case BayerGrid::GRBG: return cv::COLOR_BayerGB2BGR;
    }
    return -1;
}

enum class CvMethod { Bilinear, EdgeAware, Vng };

int OpenCvCode(BayerGrid grid, CvMethod method) {
    const int base = OpenCvBayerBase(grid);
    const int offset = base - cv::COLOR_BayerBG2BGR; // BG, GB, RG, GR in that order in each family
    switch (method) {
    case CvMethod::Bilinear: return base;
    case CvMethod::EdgeAware: return cv::COLOR_BayerBG2BGR_EA + offset;
    case CvMethod::Vng: return cv::COLOR_BayerBG2BGR_VNG + offset;
    }
    return -1;
}

cv::Mat OpenCv(const cv::Mat& mosaic, int code) {
    cv::Mat bgr;
    cv::cvtColor(mosaic, bgr, code);
    return bgr;
}

std::vector<Picture> Pictures() { return {Gradients(), Shapes(), Fabric(), Lines(), Foliage(), Buildings(), Hair()}; }

TEST(DemosaicQuality, OpenCvCodeOfEachGridIsTheOneThatReconstructsBest) {
    const cv::Mat original = Encoded(Shapes());
    for (BayerGrid grid : {BayerGrid::BGGR, BayerGrid::RGGB, BayerGrid::GBRG, BayerGrid::GRBG}) {
        const cv::Mat mosaic = MosaicOf(original, grid);
        const double chosen = Psnr(original, OpenCv(mosaic, OpenCvBayerBase(grid)), 255);
        for (int code : {cv::COLOR_BayerBG2BGR, cv::COLOR_BayerGB2BGR, cv::COLOR_BayerRG2BGR, cv::COLOR_BayerGR2BGR}) {
            if (code != OpenCvBayerBase(grid)) {
                EXPECT_GT(chosen, Psnr(original, OpenCv(mosaic, code), 255) + 3) << code;
            }
        }
    }
}

struct Scores {
    double bilinear, ahd, ahd16, ahd16As8, ahd12, cvBilinear, cvEdgeAware, cvVng;
};

// Every picture through two grids. AHD must gain clearly over bilinear and beat OpenCV's
// edge-aware and VNG methods; our bilinear must be OpenCV's bilinear in all but rounding;
// 16-bit samples (the mosaic scaled by 257) and 12-bit ones (a Bayer12 container, not
// shifted to the top) must be reconstructed as well as 8-bit ones.
TEST(DemosaicQuality, AhdBeatsBilinearAndOpenCvOnPhotographLikeImages) {
    std::vector<std::pair<std::string, Scores>> table;
    for (const Picture& picture : Pictures()) {
        const cv::Mat original = Encoded(picture);
        cv::Mat original16, original12;
        original.convertTo(original16, CV_16U, 257);
        original.convertTo(original12, CV_16U, 4095.0 / 255);
        for (BayerGrid grid : {BayerGrid::RGGB, BayerGrid::GBRG}) {
            const cv::Mat mosaic = MosaicOf(original, grid);
            cv::Mat mosaic16, mosaic12;
            mosaic.convertTo(mosaic16, CV_16U, 257);
            mosaic.convertTo(mosaic12, CV_16U, 4095.0 / 255);
            Scores scores;
            scores.bilinear = Psnr(original, Ours8(Fast::DemosaicBilinear, mosaic, grid), 255);
            scores.ahd = Psnr(original, Ours8(Fast::DemosaicAhd, mosaic, grid), 255);
            const cv::Mat ahd16 = Ours16(Fast::DemosaicAhd, mosaic16, grid);
            cv::Mat ahd16As8;
            ahd16.convertTo(ahd16As8, CV_8U, 1.0 / 257);
            scores.ahd16 = Psnr(original16, ahd16, 65535);
            scores.ahd16As8 = Psnr(original, ahd16As8, 255);
            scores.ahd12 = Psnr(original12, Ours16(Fast::DemosaicAhd, mosaic12, grid), 4095);
            scores.cvBilinear = Psnr(original, OpenCv(mosaic, OpenCvCode(grid, CvMethod::Bilinear)), 255);
            scores.cvEdgeAware = Psnr(original, OpenCv(mosaic, OpenCvCode(grid, CvMethod::EdgeAware)), 255);
            scores.cvVng = Psnr(original, OpenCv(mosaic, OpenCvCode(grid, CvMethod::Vng)), 255);
            table.emplace_back(picture.name + (grid == BayerGrid::RGGB ? " RGGB" : " GBRG"), scores);
        }
    }

    Scores mean{};
    std::printf("PSNR in dB, %zu x %zu, %zu-pixel border left out\n", kWidth, kHeight, kBorder);
    std::printf("%-16s %9s %9s %9s %9s %9s %9s %9s %9s\n", "image", "bilinear", "AHD", "AHD16>8", "AHD16",
                "AHD12", "cv bilin", "cv EA", "cv VNG");
    const auto print = [](const std::string& name, const Scores& s) {
        std::printf("%-16s %9.2f %9.2f %9.2f %9.2f %9.2f %9.2f %9.2f %9.2f\n", name.c_str(), s.bilinear, s.ahd,
                    s.ahd16As8, s.ahd16, s.ahd12, s.cvBilinear, s.cvEdgeAware, s.cvVng);
    };
    for (const auto& [name, s] : table) {
        print(name, s);
        const double n = double(table.size());
        mean.bilinear += s.bilinear / n, mean.ahd += s.ahd / n, mean.ahd16 += s.ahd16 / n, mean.ahd16As8 += s.ahd16As8 / n,
            mean.ahd12 += s.ahd12 / n;
        mean.cvBilinear += s.cvBilinear / n, mean.cvEdgeAware += s.cvEdgeAware / n, mean.cvVng += s.cvVng / n;
        // 16 bits change rounding only: brought back to 8 bits, the result is as good. (Kept
        // at 16 bits it scores higher, for want of the final 8-bit rounding.) 12-bit samples
        // lie at the dark end of CIELab, where the homogeneity tolerances adapt.
        EXPECT_NEAR(s.ahd16As8, s.ahd, 0.1) << name;
        EXPECT_NEAR(s.ahd12, s.ahd16, 0.6) << name;
    }
    print("average", mean);
    std::fflush(stdout);

    EXPECT_GE(mean.ahd, mean.bilinear + 3);
    EXPECT_GE(mean.ahd, mean.cvEdgeAware);
    EXPECT_GE(mean.ahd, mean.cvVng);
    EXPECT_LE(std::abs(mean.bilinear - mean.cvBilinear), 0.5);
}

} // namespace
} // namespace Vireo
