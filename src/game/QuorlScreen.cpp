#include "game/QuorlScreen.h"

#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <stdexcept>
#include <thread>
#include <utility>

#include "quorl/DebugAssert.h"
#include "quorl/cpu/Profiler.h"

namespace game {

int32_t QuorlScreen::compressionLevel = 6;

namespace {

size_t CompressWorkers() {
    const unsigned hardware = std::thread::hardware_concurrency();
    return std::max<size_t>(1, hardware / 2);
}

inline uint32_t Blend(uint32_t old, uint32_t color) {
    const uint32_t a = color >> 24;
    if (a == 255) return color;
    const uint32_t inv = 255 - a;
    const uint32_t b = ((old & 0xFF) * inv + (color & 0xFF) * a) / 255;
    const uint32_t g = (((old >> 8) & 0xFF) * inv + ((color >> 8) & 0xFF) * a) / 255;
    const uint32_t r = (((old >> 16) & 0xFF) * inv + ((color >> 16) & 0xFF) * a) / 255;
    const uint32_t alpha = std::min<uint32_t>(255, (old >> 24) + a);
    return (alpha << 24) | (r << 16) | (g << 8) | b;
}

// Coordinates a primitive may pass on to 64-bit helpers without overflow in their products.
constexpr int64_t kSmallCoordinate = int64_t(1) << 30;

bool AllSmall(std::initializer_list<int64_t> values) {
    for (int64_t v : values) {
        if (v <= -kSmallCoordinate || v >= kSmallCoordinate) return false;
    }
    return true;
}

}  // namespace

// Created with the library, stopped by static destruction at exit.
quorl::cpu::ThreadPool QuorlScreen::compressThreadPool("ScreenCompress", CompressWorkers());

QuorlScreen::QuorlScreen(uint32_t width_, uint32_t height_, uint32_t background_, double minUpdateInterval_,
                         uint32_t charWidth_, uint32_t charHeight_)
    : charWidth(charWidth_),
      charHeight(charHeight_),
      width(width_),
      height(height_),
      background(background_),
      minUpdateInterval(minUpdateInterval_),
      pixels(size_t(width_) * size_t(height_), background_),
      previousPixels(pixels) {}

QuorlScreen::~QuorlScreen() {
    if (_pendingCompression.valid()) _pendingCompression.wait();
}

// ---------------------------------------------------------------------------------------------
// Drawing

bool QuorlScreen::InFrame(int64_t x, int64_t y, size_t& index) const {
    if (x < 0 || y < 0 || x >= int64_t(width) || y >= int64_t(height)) return false;
    index = size_t(y) * width + size_t(x);
    return index < pixels.size();
}

void QuorlScreen::Plot(int64_t x, int64_t y, uint32_t color) {
    size_t i;
    if (!InFrame(x, y, i)) return;
    QUORL_DEBUG_ASSERT(i < pixels.size());
    pixels[i] = Blend(pixels[i], color);
    _dirty = true;
}

void QuorlScreen::Blank(uint32_t color) {
    std::fill(pixels.begin(), pixels.end(), color);
    _dirty = true;
}

uint32_t QuorlScreen::GetPixel(int32_t x, int32_t y) const {
    const int64_t index = int64_t(y) * int64_t(width) + int64_t(x);
    if (index < 0 || uint64_t(index) >= pixels.size()) return 0;
    return pixels[size_t(index)];
}

void QuorlScreen::DrawPoint(int32_t x, int32_t y, uint32_t color) {
    if (color == 0) return;
    Plot(x, y, color);
}

void QuorlScreen::DrawLine(int32_t x1, int32_t y1, int32_t x2, int32_t y2, uint32_t color) {
    LineImpl(x1, y1, x2, y2, color);
}

void QuorlScreen::LineImpl(int64_t x1, int64_t y1, int64_t x2, int64_t y2, uint32_t color) {
    const int64_t dx = x2 - x1, dy = y2 - y1;
    const float n = float(std::max(dx < 0 ? -dx : dx, dy < 0 ? -dy : dy));
    // Absurd coordinates would make a line of billions of clipped steps.
    if (n * 0.125f > float(uint64_t(width) + uint64_t(height))) return;
    if (n == 0.0f) return;
    const float stepX = float(dx) / n, stepY = float(dy) / n;
    float x = float(x1) + 0.5f, y = float(y1) + 0.5f;
    const int64_t steps = int64_t(n);
    for (int64_t i = 0; i < steps; ++i) {
        Plot(int64_t(x), int64_t(y), color);  // truncation toward zero
        x += stepX;
        y += stepY;
    }
}

void QuorlScreen::DrawRect(int32_t x1_, int32_t y1_, int32_t x2_, int32_t y2_, uint32_t outline, uint32_t fill) {
    int64_t x1 = x1_, y1 = y1_, x2 = x2_, y2 = y2_;
    if (x1 > x2) std::swap(x1, x2);
    if (y1 > y2) std::swap(y1, y2);
    if (outline != 0 && outline != fill) {
        LineImpl(x1, y1, x2, y1, outline);
        LineImpl(x1, y2 - 1, x2, y2 - 1, outline);
        LineImpl(x1, y1, x1, y2, outline);
        LineImpl(x2 - 1, y1, x2 - 1, y2, outline);
        ++x1, ++y1, --x2, --y2;
    }
    if (fill != 0) FillImpl(x1, y1, fill, x2 - x1, y2 - y1);
}

void QuorlScreen::Draw(int32_t x, int32_t y, uint32_t color, int32_t w, int32_t h) {
    FillImpl(x, y, color, w, h);
}

void QuorlScreen::FillImpl(int64_t x, int64_t y, uint32_t color, int64_t w, int64_t h) {
    _dirty = true;
    const int64_t x0 = std::max<int64_t>(x, 0), x1 = std::min<int64_t>(x + w, width);
    const int64_t y0 = std::max<int64_t>(y, 0), y1 = std::min<int64_t>(y + h, height);
    if (x0 >= x1 || y0 >= y1) return;
    QUORL_DEBUG_ASSERT(x0 >= 0 && y0 >= 0 && x1 <= int64_t(width) && y1 <= int64_t(height));
    const bool opaque = (color >> 24) > 254;
    for (int64_t row = y0; row < y1; ++row) {
        // Second clip against the vector, which may be shorter than the frame says.
        const size_t begin = size_t(row) * width + size_t(x0);
        const size_t end = std::min(size_t(row) * width + size_t(x1), pixels.size());
        if (begin >= end) break;
        uint32_t* p = pixels.data();
        if (opaque) {
            std::fill(p + begin, p + end, color);
        } else {
            for (size_t i = begin; i < end; ++i) p[i] = Blend(p[i], color);
        }
    }
}

void QuorlScreen::DrawTriangle(int32_t x1, int32_t y1, int32_t x2, int32_t y2, int32_t x3, int32_t y3,
                               uint32_t outline, uint32_t fill) {
    if (fill != 0) {
        // Products of coordinate differences need more than 64 bits beyond 2^30.
        if (AllSmall({x1, y1, x2, y2, x3, y3}))
            FillTriangleImpl<int64_t>(x1, y1, x2, y2, x3, y3, fill);
        else
            FillTriangleImpl<__int128>(x1, y1, x2, y2, x3, y3, fill);
    }
    if (outline != 0) {
        LineImpl(x1, y1, x2, y2, outline);
        LineImpl(x2, y2, x3, y3, outline);
        LineImpl(x3, y3, x1, y1, outline);
    }
}

template <class T>
void QuorlScreen::FillTriangleImpl(T x1, T y1, T x2, T y2, T x3, T y3, uint32_t fill) {
    // Edge function of the edge a->b at p; positive on one side, negative on the other.
    const auto edge = [](T ax, T ay, T bx, T by, T px, T py) { return (bx - ax) * (py - ay) - (by - ay) * (px - ax); };
    const T area = edge(x1, y1, x2, y2, x3, y3);
    const int sign = area > 0 ? 1 : (area < 0 ? -1 : 0);

    // Bounding box, limited to the frame: pixels outside it would be clipped anyway.
    const T minX = std::max<T>(std::min({x1, x2, x3}), 0);
    const T minY = std::max<T>(std::min({y1, y2, y3}), 0);
    const T maxX = std::min<T>(std::max({x1, x2, x3}), T(width) - 1);
    const T maxY = std::min<T>(std::max({y1, y2, y3}), T(height) - 1);
    if (minX > maxX || minY > maxY) return;

    // Steps of each edge value along a row (x + 1) and down a column (y + 1).
    const T stepX12 = -(y2 - y1), stepY12 = x2 - x1;
    const T stepX23 = -(y3 - y2), stepY23 = x3 - x2;
    const T stepX31 = -(y1 - y3), stepY31 = x1 - x3;
    T row12 = edge(x1, y1, x2, y2, minX, minY);
    T row23 = edge(x2, y2, x3, y3, minX, minY);
    T row31 = edge(x3, y3, x1, y1, minX, minY);

    const auto inside = [sign](T e) { return sign > 0 ? e >= 0 : (sign < 0 ? e <= 0 : e == 0); };
    for (T py = minY; py <= maxY; ++py) {
        T e12 = row12, e23 = row23, e31 = row31;
        for (T px = minX; px <= maxX; ++px) {
            if (inside(e12) && inside(e23) && inside(e31)) DrawPoint(int32_t(px), int32_t(py), fill);
            e12 += stepX12, e23 += stepX23, e31 += stepX31;
        }
        row12 += stepY12, row23 += stepY23, row31 += stepY31;
    }
}

void QuorlScreen::DrawCircle(int32_t x, int32_t y, int32_t radius, uint32_t outline, uint32_t fill) {
    if (AllSmall({x, y, radius}))
        CircleImpl<int64_t>(x, y, radius, outline, fill);
    else
        CircleImpl<__int128>(x, y, radius, outline, fill);
}

template <class T>
void QuorlScreen::CircleImpl(T x, T y, T r, uint32_t outline, uint32_t fill) {
    const T outer = r * r;
    const T inner = (r - 1) * (r - 1);
    const T lastX = std::min<T>(x + r, T(width) - 1), lastY = std::min<T>(y + r, T(height) - 1);
    for (T py = std::max<T>(y - r, 0); py <= lastY; ++py) {
        const T dy2 = (py - y) * (py - y);
        for (T px = std::max<T>(x - r, 0); px <= lastX; ++px) {
            const T d = (px - x) * (px - x) + dy2;
            if (d >= outer) continue;
            DrawPoint(int32_t(px), int32_t(py), (outline != 0 && d >= inner) ? outline : fill);
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Text

void QuorlScreen::WriteLine(int32_t x, int32_t y, uint32_t color, std::string_view text) {
    WriteLineImpl(x, y, color, text);
}

void QuorlScreen::WriteLineImpl(int64_t x, int64_t y, uint32_t color, std::string_view text) {
    static quorl::graphics::FontRenderer fontRenderer;
    // Kept per thread so that text allocates nothing once the buffer has grown.
    thread_local std::vector<const quorl::graphics::FontRenderer::Glyph*> glyphs;
    _dirty = true;
    fontRenderer.Glyphs(text.substr(0, kMaxLineBytes), glyphs);
    if (glyphs.empty()) return;
    const int64_t size = textSize;
    int64_t pen = x;
    for (const auto* glyph : glyphs) {
        const uint8_t* bits = glyph->bitmap.data();
        for (int64_t row = 0; row < glyph->height; ++row) {
            const int64_t top = y + (row - glyph->topBearing) * size;
            for (int64_t column = 0; column < glyph->width; ++column) {
                if (bits[row * glyph->width + column] == 0) continue;
                // One font pixel is a size x size square; the block fill clips it to the frame.
                FillImpl(pen + (glyph->leftBearing + column) * size, top, color, size, size);
            }
        }
        pen += int64_t(glyph->advance) * size;
    }
}

void QuorlScreen::Write(int32_t x, int32_t y, uint32_t color, std::string_view text) {
    if (color == 0) return;

    // Lines end at a real line feed (a last one too) or at the two characters '\' 'n'; a text
    // of one character is one line.
    std::vector<std::string_view> lines;
    size_t start = 0;
    for (size_t i = 0; text.size() >= 2 && i < text.size();) {
        if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == 'n') {
            lines.push_back(text.substr(start, i - start));
            i += 2;
            start = i;
        } else if (text[i] == '\n') {
            lines.push_back(text.substr(start, i - start));
            i += 1;
            start = i;
        } else {
            ++i;
        }
    }
    lines.push_back(text.substr(std::min(start, text.size())));

    // 128-bit arithmetic: an absurd text size or spacing must not overflow; the results are
    // then limited to a range far outside any frame.
    using Wide = __int128;
    const auto limit = [](Wide v) {
        constexpr Wide kFar = Wide(1) << 40;
        return int64_t(std::clamp(v, -kFar, kFar));
    };
    const Wide size = textSize, spacing = textLineSpacing, count = Wide(lines.size());
    const Wide lineHeight = (Wide(charHeight) + spacing - 1) * size;
    const Wide cell = Wide(charWidth) * size;
    Wide lineY = y;
    if (textAlign & AlignTop)
        lineY = Wide(y) + 1;
    else if (textAlign & AlignBottom)
        lineY = Wide(y) + Wide(height) + spacing * size - 1 - count * lineHeight;
    else if (textAlign & AlignCentre)
        lineY = Wide(y) + std::max<Wide>(1, spacing * size / 2 + Wide(height) / 2 - count * lineHeight / 2);

    for (std::string_view line : lines) {
        // Code points: every byte that is not a UTF-8 continuation byte.
        const Wide length = std::count_if(line.begin(), line.end(), [](char c) {
            return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
        });
        Wide lineX = x;
        if (textAlign & AlignLeft)
            lineX = Wide(x) + 1;
        else if (textAlign & AlignRight)
            lineX = Wide(x) + Wide(width) + size - 1 - length * cell;
        else if (textAlign & AlignCentre)
            lineX = Wide(x) + std::max<Wide>(1, Wide(width) / 2 - length * cell / 2);
        WriteLineImpl(limit(lineX), limit(lineY), color, line);
        lineY += lineHeight;
    }
}

// ---------------------------------------------------------------------------------------------
// Update and transport

double QuorlScreen::NowMs() {
    const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::system_clock::now().time_since_epoch());
    return double(ns.count()) / 1000000.0;
}

std::optional<double> QuorlScreen::LastChangeTime() const {
    std::lock_guard lk(_timeMutex);
    if (!_lastChangeSet) return std::nullopt;
    return _lastChangeMs;
}

void QuorlScreen::WaitForCompression() {
    if (!_pendingCompression.valid()) return;
    std::exchange(_pendingCompression, {}).wait();
    if (!_compressError.empty()) throw std::runtime_error(std::exchange(_compressError, {}));
}

bool QuorlScreen::Update(bool compress) {
    // Text settings hold for one frame.
    textSize = 1;
    textLineSpacing = 1;
    textAlign = 0;

    if (!_dirty) return false;
    {
        std::lock_guard lk(_timeMutex);
        // Too soon after the last change: the frame stays dirty for a later call.
        if (_lastChangeSet && NowMs() - _lastChangeMs < minUpdateInterval) return false;
    }
    _dirty = false;
    quorl::cpu::Profiler profile("QuorlScreen::Update _dirty");

    WaitForCompression();  // at most one task per screen

    // Programs that redraw the same picture every tick stop here.
    if (previousPixels.size() == pixels.size() &&
        std::memcmp(previousPixels.data(), pixels.data(), pixels.size() * sizeof(uint32_t)) == 0)
        return false;

    {
        std::lock_guard lk(_timeMutex);
        _lastChangeMs = NowMs();
        _lastChangeSet = true;
    }

    if (!compress) {
        previousPixels = pixels;
        return true;
    }
    // An error travels back as text: an exception object shared between threads is released
    // through reference counts that ThreadSanitizer cannot follow.
    _pendingCompression = compressThreadPool
                              .Submit([this] {
                                  try {
                                      previousPixels = pixels;
                                      Compress();
                                  } catch (const std::exception& e) {
                                      _compressError = e.what();
                                  }
                              })
                              .share();
    return true;
}

void QuorlScreen::Compress() {
    const size_t frameBytes = pixels.size() * sizeof(uint32_t);
    if (frameBytes + 256 > UINT_MAX) throw std::runtime_error("QuorlScreen::Compress: frame too large");
    _compressedBuffer.resize(frameBytes + 256);

    z_stream strm{};
    if (deflateInit(&strm, compressionLevel) != Z_OK) throw std::runtime_error("ZLIB ERROR");
    strm.next_in = reinterpret_cast<Bytef*>(pixels.data());
    strm.avail_in = uInt(frameBytes);
    strm.next_out = _compressedBuffer.data();
    strm.avail_out = uInt(_compressedBuffer.size());
    const int ret = deflate(&strm, Z_FINISH);
    // The 256-byte margin is only too small for a large frame that does not compress.
    // The _AT form stringises the expression before zlib's macros expand.
    QUORL_ASSERT_AT(ret == Z_STREAM_END, __FILE__, __LINE__);
    _compressedBuffer.resize(strm.total_out);
    deflateEnd(&strm);
}

QuorlScreen::InflateResult QuorlScreen::Inflate(const unsigned char* source, size_t sourceSize,
                                                unsigned char* destination, size_t size) {
    z_stream strm{};
    if (inflateInit(&strm) != Z_OK) throw std::runtime_error("ZLIB ERROR");
    unsigned char spare = 0;  // zlib refuses a null output pointer even for no output
    const size_t writable = destination != nullptr ? size : 0;
    strm.next_in = const_cast<Bytef*>(source);
    strm.next_out = destination != nullptr ? destination : &spare;
    size_t inLeft = source != nullptr ? sourceSize : 0;
    size_t outLeft = writable;
    InflateResult result;
    // One pass; zlib counts in 32 bits, so larger buffers go in slices.
    for (;;) {
        const uInt inSlice = uInt(std::min<size_t>(inLeft, UINT_MAX));
        const uInt outSlice = uInt(std::min<size_t>(outLeft, UINT_MAX));
        strm.avail_in = inSlice;
        strm.avail_out = outSlice;
        result.ret = inflate(&strm, Z_SYNC_FLUSH);
        inLeft -= inSlice - strm.avail_in;
        outLeft -= outSlice - strm.avail_out;
        const bool sliceDone = strm.avail_in == 0 || strm.avail_out == 0;
        if (result.ret != Z_OK || !sliceDone || inLeft == 0 || outLeft == 0) break;
    }
    inflateEnd(&strm);
    result.avail_in = inLeft;
    result.avail_out = outLeft + (size - writable);
    return result;
}

void QuorlScreen::Decompress() {
    if (_compressedBuffer.empty()) {
        std::fprintf(stderr, "QuorlScreen::Decompress: _compressedBuffer is empty\n");
        std::fill(pixels.begin(), pixels.end(), background);
        return;
    }
    const InflateResult strm = Inflate(_compressedBuffer.data(), _compressedBuffer.size(),
                                       reinterpret_cast<unsigned char*>(pixels.data()),
                                       pixels.size() * sizeof(uint32_t));
    const int ret = strm.ret;
    // Both sides must agree on the frame's size: a stream of another size ends the process.
    QUORL_ASSERT_AT(ret != Z_STREAM_ERROR, __FILE__, __LINE__);
    QUORL_ASSERT(strm.avail_in == 0);
    QUORL_ASSERT(strm.avail_out == 0);
}

void QuorlScreen::Decompress(const std::vector<unsigned char>& compressedData, unsigned char* destination,
                             size_t size) {
    if (compressedData.empty()) {
        std::fprintf(stderr, "QuorlScreen::Decompress: compressedData is empty\n");
        if (destination != nullptr) std::memset(destination, 0, size);
        return;
    }
    const InflateResult strm = Inflate(compressedData.data(), compressedData.size(), destination, size);
    const int ret = strm.ret;
    QUORL_ASSERT_AT(ret != Z_STREAM_ERROR, __FILE__, __LINE__);
    QUORL_ASSERT(strm.avail_in == 0);
    QUORL_ASSERT(strm.avail_out == 0);
}

}  // namespace game
