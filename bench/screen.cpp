// Virtual screens: Compress of a 1024 x 768 frame with typical content (text and shapes) against
// zlib's compress2 at the same level on the same bytes, the whole Update path through the pool,
// and the pixels per second of the drawing primitives. The run ends with the ratio of Compress
// to compress2 (1.0 means no overhead).
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <unistd.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "game/QuorlScreen.h"

using game::QuorlScreen;

namespace {

constexpr uint32_t kWidth = 1024, kHeight = 768;

// A status display: panels, gauges, a plot, and 40 lines of text.
void DrawTypicalFrame(QuorlScreen& s, int frame) {
    s.Blank(0xFF0C1218);
    s.DrawRect(8, 8, 1016, 760, 0xFF4080C0, 0);
    s.DrawRect(16, 16, 500, 380, 0xFFFFFFFF, 0xFF182430);
    s.DrawRect(524, 16, 1008, 380, 0xFFFFFFFF, 0xFF182430);
    for (int i = 0; i < 6; ++i) {
        s.DrawCircle(600 + i * 70, 460, 30, 0xFFFFC040, 0x6040FF40);
        s.DrawLine(600 + i * 70, 460, 600 + i * 70 + (frame + i * 5) % 25 - 12, 435, 0xFFFF4040);
    }
    s.DrawTriangle(560, 740, 780, 540, 1000, 740, 0xFF00FFFF, 0x80406080);
    int prevY = 200;
    for (int x = 540; x < 1000; x += 4) {
        const int y = 200 + ((x * 7 + frame * 13) % 120) - 60;
        s.DrawLine(x - 4, prevY, x, y, 0xFF40FF80);
        prevY = y;
    }
    for (int line = 0; line < 40; ++line) {
        s.WriteLine(24, 24 + line * 16 + (line >= 22 ? 24 : 0), 0xFFE0E0E0,
                    "Tank " + std::to_string(line) + ": pressure " + std::to_string(100 + (line * 37 + frame) % 900) +
                        " kPa, temperature " + std::to_string(250 + line) + " K");
    }
    s.textSize = 3;
    s.textAlign = QuorlScreen::AlignCentre;
    s.Write(0, 260, 0xFFFFFFFF, "Frame " + std::to_string(frame));
    s.textSize = 1;
    s.textAlign = 0;
}

const std::vector<uint32_t>& TypicalPixels() {
    static const std::vector<uint32_t> pixels = [] {
        QuorlScreen s(kWidth, kHeight);
        DrawTypicalFrame(s, 1);
        return s.pixels;
    }();
    return pixels;
}

void BM_Compress_QuorlScreen(benchmark::State& state) {
    QuorlScreen s(kWidth, kHeight);
    s.pixels = TypicalPixels();
    for (auto _ : state) {
        s.Compress();
        benchmark::DoNotOptimize(s._compressedBuffer.data());
    }
    state.SetItemsProcessed(state.iterations());  // frames
    state.SetBytesProcessed(state.iterations() * int64_t(s.pixels.size() * 4));
    state.counters["compressed_bytes"] = double(s._compressedBuffer.size());
}
BENCHMARK(BM_Compress_QuorlScreen)->Unit(benchmark::kMillisecond);

void BM_Compress_zlib_compress2(benchmark::State& state) {
    const auto& pixels = TypicalPixels();
    const uLong sourceBytes = uLong(pixels.size() * 4);
    std::vector<Bytef> out(compressBound(sourceBytes));
    uLongf outBytes = 0;
    for (auto _ : state) {
        outBytes = uLongf(out.size());
        if (compress2(out.data(), &outBytes, reinterpret_cast<const Bytef*>(pixels.data()), sourceBytes,
                      QuorlScreen::compressionLevel) != Z_OK)
            state.SkipWithError("compress2 failed");
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * int64_t(sourceBytes));
    state.counters["compressed_bytes"] = double(outBytes);
}
BENCHMARK(BM_Compress_zlib_compress2)->Unit(benchmark::kMillisecond);

void BM_Decompress_QuorlScreen(benchmark::State& state) {
    QuorlScreen s(kWidth, kHeight);
    s.pixels = TypicalPixels();
    s.Compress();
    for (auto _ : state) {
        s.Decompress();
        benchmark::DoNotOptimize(s.pixels.data());
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Decompress_QuorlScreen)->Unit(benchmark::kMillisecond);

// Drawing a frame, Update(true) and waiting for the pool: frames per second of a changing screen.
void BM_DrawUpdateCompress(benchmark::State& state) {
    QuorlScreen s(kWidth, kHeight);
    int frame = 0;
    for (auto _ : state) {
        DrawTypicalFrame(s, ++frame);
        s.Update(true);
        s.WaitForCompression();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DrawUpdateCompress)->Unit(benchmark::kMillisecond)->UseRealTime();

// Primitives: items are pixels written.
void BM_Blank(benchmark::State& state) {
    QuorlScreen s(kWidth, kHeight);
    uint32_t c = 0xFF000000;
    for (auto _ : state) {
        s.Blank(++c);
        benchmark::DoNotOptimize(s.pixels.data());
    }
    state.SetItemsProcessed(state.iterations() * int64_t(kWidth * kHeight));
}
BENCHMARK(BM_Blank);

void BM_DrawRectFill(benchmark::State& state) {
    const uint32_t color = uint32_t(state.range(0));
    QuorlScreen s(kWidth, kHeight);
    for (auto _ : state) {
        s.DrawRect(100, 100, 612, 612, 0, color);
        benchmark::DoNotOptimize(s.pixels.data());
    }
    state.SetItemsProcessed(state.iterations() * 512 * 512);
}
BENCHMARK(BM_DrawRectFill)->Arg(0xFF336699)->Arg(0x80336699);

void BM_DrawLine(benchmark::State& state) {
    QuorlScreen s(kWidth, kHeight);
    for (auto _ : state) {
        s.DrawLine(0, 0, 1000, 700, 0xFFFFFFFF);
        s.DrawLine(1000, 0, 0, 700, 0x80FF0000);
    }
    state.SetItemsProcessed(state.iterations() * 2000);
}
BENCHMARK(BM_DrawLine);

void BM_DrawPoint(benchmark::State& state) {
    QuorlScreen s(kWidth, kHeight);
    for (auto _ : state) {
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 64; ++x) s.DrawPoint(x * 3, y * 3, 0xC0FF8000);
    }
    state.SetItemsProcessed(state.iterations() * 64 * 64);
}
BENCHMARK(BM_DrawPoint);

void BM_DrawCircle(benchmark::State& state) {
    QuorlScreen s(kWidth, kHeight);
    for (auto _ : state) s.DrawCircle(512, 384, 200, 0xFFFFFFFF, 0xFF204080);
    state.SetItemsProcessed(state.iterations() * int64_t(3.14159265 * 200 * 200));
}
BENCHMARK(BM_DrawCircle);

void BM_DrawTriangle(benchmark::State& state) {
    QuorlScreen s(kWidth, kHeight);
    for (auto _ : state) s.DrawTriangle(100, 700, 500, 100, 900, 700, 0, 0xFF408020);
    state.SetItemsProcessed(state.iterations() * (800 * 600 / 2));
}
BENCHMARK(BM_DrawTriangle);

void BM_WriteText(benchmark::State& state) {
    QuorlScreen s(kWidth, kHeight);
    const std::string line = "The quick brown fox jumps over the lazy dog 0123456789";
    s.WriteLine(0, 0, 0xFFFFFFFF, line);  // glyphs are rasterised once, at first use
    for (auto _ : state) {
        for (int row = 0; row < 40; ++row) s.WriteLine(4, row * 16, 0xFFFFFFFF, line);
    }
    state.SetItemsProcessed(state.iterations() * 40 * int64_t(line.size()) * 8 * 16);  // cell pixels
}
BENCHMARK(BM_WriteText);

// Prints the Compress / compress2 ratio of this run after the table.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    // Colours only on a terminal.
    RatioReporter() : ConsoleReporter(isatty(fileno(stdout)) ? OO_Defaults : OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const auto& run : runs) {
            // A single run, or the mean of repetitions.
            const bool mean = run.run_type == Run::RT_Aggregate && run.aggregate_name == "mean";
            if ((run.run_type == Run::RT_Iteration || mean) && run.iterations > 0)
                _seconds[run.run_name.function_name] = run.GetAdjustedCPUTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        const auto ours = _seconds.find("BM_Compress_QuorlScreen");
        const auto zlib = _seconds.find("BM_Compress_zlib_compress2");
        if (ours != _seconds.end() && zlib != _seconds.end() && ours->second > 0) {
            // CPU time: both compress on the calling thread, and the machine may be shared.
            std::printf("Compress / compress2 frames per second (CPU time) = %.3f\n",
                        zlib->second / ours->second);
        }
    }

private:
    std::map<std::string, double> _seconds;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
