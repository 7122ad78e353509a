#pragma once
#include <cstddef>
#include <cstdint>
#include <future>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quorl/cpu/ThreadPool.h"
#include "quorl/graphics/FontRenderer.h"

namespace game {

// Framebuffer of a virtual monitor: software drawing into 32-bit 0xAARRGGBB pixels (blue in the
// low byte), change detection once per frame, and zlib compression of whole frames in a shared
// thread pool for transport to clients.
//
// Every primitive clips per pixel. Colours with alpha 255 are stored; other colours blend:
// each of blue, green and red becomes (old * (255 - a) + new * a) / 255 and the pixel's alpha
// becomes old alpha + a, saturating at 255. In the outline and fill arguments of the shapes a
// colour of 0 means "none".
//
// Threading: drawing and Update run on the owner's thread. Update(true) posts a compression
// task that reads `pixels` and writes `previousPixels` and `_compressedBuffer` until it is done.
// Until then the owner neither draws nor reads `_compressedBuffer`: it waits for the task
// (WaitForCompression, or the next Update) or sees PendingCompression() ready first.
class QuorlScreen {
public:
    // textAlign flags. Vertical: Top, then Bottom, then Centre; horizontal: Left, then Right,
    // then Centre (the first set flag of each axis wins). Centre serves both axes.
    static constexpr uint32_t AlignLeft = 1;
    static constexpr uint32_t AlignRight = 2;
    static constexpr uint32_t AlignTop = 4;
    static constexpr uint32_t AlignBottom = 8;
    static constexpr uint32_t AlignCentre = 16;

    // Text handed to the font in one WriteLine call at most.
    static constexpr size_t kMaxLineBytes = 1024;

    // Level given to zlib by Compress.
    static int32_t compressionLevel;
    // One pool for all screens, named "ScreenCompress".
    static quorl::cpu::ThreadPool compressThreadPool;

    // A screen of width x height pixels, all of the background colour. The character cell
    // defaults to the cell of the default font.
    QuorlScreen(uint32_t width, uint32_t height, uint32_t background = 0, double minUpdateInterval = 0.0,
                uint32_t charWidth = quorl::graphics::FontRenderer::kDefaultCellWidth,
                uint32_t charHeight = quorl::graphics::FontRenderer::kDefaultCellHeight);
    // Waits for a pending compression task, which uses this screen.
    ~QuorlScreen();
    QuorlScreen(const QuorlScreen&) = delete;
    QuorlScreen& operator=(const QuorlScreen&) = delete;

    // Fields, in this order.
    uint32_t charWidth;
    uint32_t charHeight;
    uint32_t width;
    uint32_t height;
    uint32_t background;
    double minUpdateInterval;  // milliseconds between two changes taken up by Update
    int32_t textSize = 1;
    uint32_t textAlign = 0;
    int32_t textLineSpacing = 1;
    std::vector<uint32_t> pixels;          // current frame, row major
    std::vector<uint32_t> previousPixels;  // the frame last taken up by Update
    std::vector<unsigned char> _compressedBuffer;  // one zlib stream of the last compressed frame

    // Drawing.
    void Blank(uint32_t color);
    // The pixel at index y * width + x, 0 when that index is outside the frame.
    uint32_t GetPixel(int32_t x, int32_t y) const;
    void DrawPoint(int32_t x, int32_t y, uint32_t color);
    // From (x1, y1) towards (x2, y2), the end point left out.
    void DrawLine(int32_t x1, int32_t y1, int32_t x2, int32_t y2, uint32_t color);
    // The half-open box [x1, x2) x [y1, y2) after sorting the corners.
    void DrawRect(int32_t x1, int32_t y1, int32_t x2, int32_t y2, uint32_t outline, uint32_t fill);
    void DrawTriangle(int32_t x1, int32_t y1, int32_t x2, int32_t y2, int32_t x3, int32_t y3, uint32_t outline,
                      uint32_t fill);
    void DrawCircle(int32_t x, int32_t y, int32_t radius, uint32_t outline, uint32_t fill);
    // Fills the w x h block at (x, y).
    void Draw(int32_t x, int32_t y, uint32_t color, int32_t w, int32_t h);
    // One line of text with the top left corner of its first cell at (x, y).
    void WriteLine(int32_t x, int32_t y, uint32_t color, std::string_view text);
    // Lines split at a line feed or at the two characters backslash and "n", aligned by textAlign.
    void Write(int32_t x, int32_t y, uint32_t color, std::string_view text);

    // Once per frame after drawing: true when the frame differs from the previous one. With
    // compress, the new frame is compressed into _compressedBuffer by the pool.
    bool Update(bool compress);
    // _compressedBuffer = zlib stream of pixels.
    void Compress();
    // pixels = the frame in _compressedBuffer, which must hold exactly this screen's size. An
    // empty buffer prints one line on the error stream and shows the background; a stream that
    // does not fill the frame exactly ends the process with an assertion.
    void Decompress();
    // The same into a foreign buffer of size bytes; an empty compressedData zero-fills it.
    static void Decompress(const std::vector<unsigned char>& compressedData, unsigned char* destination,
                           size_t size);

    // What one inflate pass over a frame left: zlib's return code and the bytes of input not
    // consumed and of output not filled. Decompress turns it into its assertions; it is public
    // so that a caller (or a fuzzer) can check a foreign stream without ending the process.
    // Throws std::runtime_error("ZLIB ERROR") when zlib cannot be initialised.
    struct InflateResult {
        int ret = 0;
        size_t avail_in = 0;
        size_t avail_out = 0;
    };
    static InflateResult Inflate(const unsigned char* source, size_t sourceSize, unsigned char* destination,
                                 size_t size);

    // For the owner: a primitive changed the frame since the last Update took it up.
    bool IsDirty() const { return _dirty; }
    // For any thread: time of the last change taken up by Update, in milliseconds of the
    // system clock.
    std::optional<double> LastChangeTime() const;
    // The task that fills _compressedBuffer (invalid when none was posted).
    std::shared_future<void> PendingCompression() const { return _pendingCompression; }
    // Waits until the pending compression task is done; rethrows its error, once.
    void WaitForCompression();

private:
    bool InFrame(int64_t x, int64_t y, size_t& index) const;
    void Plot(int64_t x, int64_t y, uint32_t color);   // blends, clipped
    void LineImpl(int64_t x1, int64_t y1, int64_t x2, int64_t y2, uint32_t color);
    void FillImpl(int64_t x, int64_t y, uint32_t color, int64_t w, int64_t h);
    void WriteLineImpl(int64_t x, int64_t y, uint32_t color, std::string_view text);
    template <class T>
    void FillTriangleImpl(T x1, T y1, T x2, T y2, T x3, T y3, uint32_t fill);
    template <class T>
    void CircleImpl(T x, T y, T radius, uint32_t outline, uint32_t fill);
    static double NowMs();

    std::shared_future<void> _pendingCompression;
    bool _dirty = false;
    mutable std::mutex _timeMutex;
    double _lastChangeMs = 0.0;
    bool _lastChangeSet = false;
    std::string _compressError;  // what the last task threw, for WaitForCompression
};

}  // namespace game
