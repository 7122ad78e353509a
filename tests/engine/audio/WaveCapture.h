#pragma once
// The sound of a test process goes to a file: OpenAL Soft's wave writer, chosen through its
// environment (ALSOFT_DRIVERS, and ALSOFT_CONF naming a config with the file) by a static object,
// before any device opens. Every Studio of the process then writes there, one after the other;
// these helpers play a fresh studio for a while, read what it wrote and measure it.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "quorl/audio/Studio.h"

namespace audio_test {

// OpenAL Soft hands property updates to its mixing thread through atomics of its own, which a
// thread-sanitized build can't see in the uninstrumented library: reports from inside it are
// left out. One file of each test binary defines ZENDOLA_AUDIO_TSAN_SUPPRESSIONS before the include.
#if defined(__SANITIZE_THREAD__) && defined(ZENDOLA_AUDIO_TSAN_SUPPRESSIONS)
extern "C" const char* __tsan_default_suppressions() { return "race:libopenal.so\n"; }
#endif

inline const std::filesystem::path kCaptureFolder = [] {
    // Processes that ended without cleaning up (death tests re-run the binary and abort) leave
    // their folders: those of processes that are gone are removed here.
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(std::filesystem::temp_directory_path(), ec)) {
        const std::string name = e.path().filename().string();
        if (name.rfind("zendola-audio-", 0) != 0) continue;
        const long pid = std::atol(name.c_str() + 14);
        if (pid > 0 && ::kill(pid_t(pid), 0) != 0 && errno == ESRCH) std::filesystem::remove_all(e.path(), ec);
    }
    std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("zendola-audio-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    std::ofstream(dir / "alsoft.conf") << "[general]\nchannels = stereo\nsample-type = float32\nfrequency = 48000\n"
                                       << "[wave]\nfile = " << (dir / "out.wav").string() << "\n";
    ::setenv("ALSOFT_DRIVERS", "wave", 1);
    ::setenv("ALSOFT_CONF", (dir / "alsoft.conf").c_str(), 1);
    return dir;
}();

inline const struct CaptureCleanup {
    ~CaptureCleanup() {
        std::error_code ec;
        std::filesystem::remove_all(kCaptureFolder, ec);
    }
} kCaptureCleanup;

// What one studio wrote: the mean of the two channels.
struct Recording {
    std::vector<float> samples;
    float rate = 0;

    // The stretch that ends `endGap` seconds before the end and lasts `seconds`.
    std::vector<float> Tail(double seconds, double endGap = 0.05) const {
        const size_t n = samples.size();
        const size_t end = n - std::min(n, size_t(endGap * rate));
        const size_t begin = end - std::min(end, size_t(seconds * rate));
        return {samples.begin() + long(begin), samples.begin() + long(end)};
    }
};

// Reads the writer's file: 32-bit float, stereo. The writer puts its "fmt " and "data" chunks
// ahead of the samples; the data size is written when the device closes, so the file's length
// is trusted over it.
inline Recording ReadCapture() {
    Recording r;
    std::ifstream in(kCaptureFolder / "out.wav", std::ios::binary);
    const std::string b((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const size_t fmt = b.find("fmt "), data = b.find("data");
    if (b.rfind("RIFF", 0) != 0 || fmt == b.npos || data == b.npos || fmt + 34 > b.size() || data < fmt) {
        ADD_FAILURE() << "no wave file was written";
        return r;
    }
    auto le = [&](size_t at, int bytes) {
        uint32_t v = 0;
        for (int i = bytes - 1; i >= 0; --i) v = (v << 8) | static_cast<unsigned char>(b[at + size_t(i)]);
        return v;
    };
    const uint32_t channels = le(fmt + 10, 2), bits = le(fmt + 22, 2);
    const uint32_t tag = le(fmt + 8, 2) == 0xFFFE ? le(fmt + 32, 2) : le(fmt + 8, 2);  // extensible: sub-format
    r.rate = float(le(fmt + 12, 4));
    if (tag != 3 || bits != 32 || channels != 2) {
        ADD_FAILURE() << "expected stereo 32-bit float, got format " << tag << ", " << bits << " bits, " << channels
                      << " channels";
        return r;
    }
    r.samples.resize((b.size() - data - 8) / 8);
    for (size_t i = 0; i < r.samples.size(); ++i) {
        float lr[2];
        std::memcpy(lr, &b[data + 8 + 8 * i], 8);
        r.samples[i] = 0.5f * (lr[0] + lr[1]);
    }
    return r;
}

// Plays a fresh studio for `seconds` of real time, updating it 60 times a second, and returns
// what it wrote. `play` sets the studio up and returns what must live while it plays; that is
// released just before the device closes.
template <class Play>
Recording Record(double seconds, Play play) {
    {
        quorl::audio::Studio studio;
        EXPECT_TRUE(studio.HasOutput()) << "the wave writer did not open";
        auto keep = play(studio);
        const auto start = std::chrono::steady_clock::now();
        while (std::chrono::steady_clock::now() - start < std::chrono::duration<double>(seconds)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(16));
            studio.Update();
        }
    }
    return ReadCapture();
}

inline double Energy(const std::vector<float>& x) {
    double sum = 0;
    for (float v : x) sum += double(v) * v;
    return sum;
}

inline double Rms(const std::vector<float>& x) { return x.empty() ? 0.0 : std::sqrt(Energy(x) / double(x.size())); }

// Median of the RMS of 10 ms blocks: a short gap (a late mixing thread) doesn't move it.
inline double BlockRms(const std::vector<float>& x, float rate) {
    const size_t block = size_t(0.01f * rate);
    std::vector<double> levels;
    for (size_t i = 0; i + block <= x.size(); i += block)
        levels.push_back(Rms(std::vector<float>(x.begin() + long(i), x.begin() + long(i + block))));
    if (levels.empty()) return 0;
    std::nth_element(levels.begin(), levels.begin() + long(levels.size() / 2), levels.end());
    return levels[levels.size() / 2];
}

inline void Fft(std::vector<std::complex<double>>& a) {
    const size_t n = a.size();
    for (size_t i = 1, j = 0; i < n; ++i) {
        size_t bit = n >> 1;
        for (; j & bit; bit >>= 1) j ^= bit;
        j ^= bit;
        if (i < j) std::swap(a[i], a[j]);
    }
    for (size_t len = 2; len <= n; len <<= 1) {
        const std::complex<double> w = std::polar(1.0, -2.0 * M_PI / double(len));
        for (size_t i = 0; i < n; i += len) {
            std::complex<double> wk = 1;
            for (size_t k = 0; k < len / 2; ++k, wk *= w) {
                const std::complex<double> u = a[i + k], v = a[i + k + len / 2] * wk;
                a[i + k] = u + v;
                a[i + k + len / 2] = u - v;
            }
        }
    }
}

// Power spectrum, averaged over Hann windows of 4096 samples that overlap by half.
inline std::vector<double> Spectrum(const std::vector<float>& x) {
    constexpr size_t n = 4096;
    std::vector<double> power(n / 2, 0.0);
    std::vector<std::complex<double>> a(n);
    for (size_t at = 0; at + n <= x.size(); at += n / 2) {
        for (size_t i = 0; i < n; ++i) a[i] = x[at + i] * (0.5 - 0.5 * std::cos(2.0 * M_PI * double(i) / double(n)));
        Fft(a);
        for (size_t k = 0; k < n / 2; ++k) power[k] += std::norm(a[k]);
    }
    return power;
}

// Share of the power between the two frequencies.
inline double BandShare(const std::vector<float>& x, float rate, double from, double to) {
    const std::vector<double> power = Spectrum(x);
    double band = 0, total = 0;
    for (size_t k = 1; k < power.size(); ++k) {
        const double f = double(k) * rate / 4096.0;
        total += power[k];
        if (f >= from && f < to) band += power[k];
    }
    return total > 0 ? band / total : 0.0;
}

// The frequency of the strongest bin of a zero-padded transform of `x`.
inline double PeakFrequency(const std::vector<float>& x, float rate) {
    constexpr size_t n = 16384;
    std::vector<std::complex<double>> a(n);
    for (size_t i = 0; i < std::min(n, x.size()); ++i) a[i] = x[i];
    Fft(a);
    size_t best = 1;
    for (size_t k = 1; k < n / 2; ++k)
        if (std::norm(a[k]) > std::norm(a[best])) best = k;
    return double(best) * rate / double(n);
}

}  // namespace audio_test
