// How close transforming points by a matrix comes to the speed of memory: Point3 * Matrix3 over
// an array far beyond the caches, next to a plain memcpy of the same bytes. Playback transforms
// every vertex of every element each frame, so this ratio is its floor.
#include "host/Matrix3.h"
#include "host/Point.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

// 4M points, 48 MiB in and 48 MiB out: beyond any last-level cache.
constexpr int64_t kPoints = int64_t{1} << 22;

struct PointArrays {
    std::vector<Point3> in;
    std::vector<Point3> out;
};

// Filled once and shared, so that the page faults of a fresh array are not timed.
PointArrays& arrays(int64_t count) {
    static std::map<int64_t, PointArrays> cache;
    PointArrays& a = cache[count];
    if (a.in.empty()) {
        std::mt19937 rng(12345);
        std::uniform_real_distribution<float> coord(-100.0f, 100.0f);
        a.in.resize(static_cast<size_t>(count));
        for (Point3& p : a.in)
            p = Point3(coord(rng), coord(rng), coord(rng));
        a.out.assign(a.in.size(), Point3());
    }
    return a;
}

// Rotation, non-uniform scale and translation: no row is trivial.
Matrix3 someTransform() {
    return ScaleMatrix(Point3(1.5f, 0.5f, 2.0f)) * RotateZMatrix(0.7f) * RotateXMatrix(-0.3f) *
           TransMatrix(Point3(10.0f, -20.0f, 30.0f));
}

void BM_Point3TimesMatrix3(benchmark::State& state) {
    PointArrays& a = arrays(state.range(0));
    const Matrix3 m = someTransform();
    const size_t n = a.in.size();
    for (auto _ : state) {
        const Point3* in = a.in.data();
        Point3* out = a.out.data();
        for (size_t i = 0; i < n; ++i)
            out[i] = in[i] * m;
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(n * sizeof(Point3)));
}

void BM_Memcpy(benchmark::State& state) {
    PointArrays& a = arrays(state.range(0));
    const size_t bytes = a.in.size() * sizeof(Point3);
    for (auto _ : state) {
        std::memcpy(a.out.data(), a.in.data(), bytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

BENCHMARK(BM_Point3TimesMatrix3)->Arg(kPoints)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Memcpy)->Arg(kPoints)->Unit(benchmark::kMillisecond)->UseRealTime();

// Passes every report on to the usual display and keeps the best time per iteration of each
// benchmark, for the ratio printed at the end.
class RecordingReporter : public benchmark::BenchmarkReporter {
public:
    explicit RecordingReporter(benchmark::BenchmarkReporter* display) : display_(display) {}

    bool ReportContext(const Context& context) override { return display_->ReportContext(context); }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred || run.run_type != Run::RT_Iteration || run.iterations == 0)
                continue;
            const double seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
            auto [it, inserted] = best_.try_emplace(run.run_name.function_name, seconds);
            if (!inserted && seconds < it->second)
                it->second = seconds;
        }
        display_->ReportRuns(runs);
    }
    void Finalize() override { display_->Finalize(); }

    // Best seconds per iteration, or 0 when the benchmark did not run (filtered out).
    double best(const std::string& function) const {
        const auto it = best_.find(function);
        return it == best_.end() ? 0.0 : it->second;
    }

private:
    benchmark::BenchmarkReporter* display_;
    std::map<std::string, double> best_;
};

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RecordingReporter reporter(benchmark::CreateDefaultDisplayReporter());
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const double transform = reporter.best("BM_Point3TimesMatrix3");
    const double copy = reporter.best("BM_Memcpy");
    if (transform > 0.0 && copy > 0.0)
        std::printf("Point3*Matrix3 / memcpy ratio: %.2f\n", transform / copy);
    return 0;
}
