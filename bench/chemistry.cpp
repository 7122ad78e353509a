// Making molecules from formula text. Cold: 1,000 formulas the molecule table has never seen
// (each is parsed and stored). Warm: the same 1,000 again (copied from the table). Baseline: the
// grammar matched with std::regex, the pattern compiled at each call, for the same cold batch.
// Rows report the time per batch of 1,000 and items per second.
#include "../tests/game/ChemistryFormulaReference.h"  // first: see there

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "game/Chemistry.h"

namespace {

constexpr int kBatch = 1000;

// A batch of formulas no earlier batch of this run has produced.
std::vector<std::string> FreshBatch() {
    static long next = 0;
    std::vector<std::string> batch;
    batch.reserve(kBatch);
    for (int i = 0; i < kBatch; ++i, ++next) {
        const std::string k = std::to_string(next);
        switch (next % 3) {
            case 0: batch.push_back("C" + k + "H" + std::to_string(2 * next + 2)); break;
            case 1: batch.push_back("Fe2O" + k + "Cl"); break;
            default: batch.push_back("NaK" + k + "Uus2SO4"); break;
        }
    }
    return batch;
}

void BM_MoleculeCold(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        const auto batch = FreshBatch();
        state.ResumeTiming();
        for (const auto& formula : batch) benchmark::DoNotOptimize(game::Molecule(formula));
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}
// Every iteration grows the table by 1,000 entries for good: keep the count fixed.
BENCHMARK(BM_MoleculeCold)->Iterations(100)->Unit(benchmark::kMicrosecond);

void BM_MoleculeWarm(benchmark::State& state) {
    const auto batch = FreshBatch();
    for (const auto& formula : batch) benchmark::DoNotOptimize(game::Molecule(formula));
    for (auto _ : state) {
        for (const auto& formula : batch) benchmark::DoNotOptimize(game::Molecule(formula));
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(BM_MoleculeWarm)->Unit(benchmark::kMicrosecond);

void BM_RegexBaselineCold(benchmark::State& state) {
    const auto batch = FreshBatch();
    for (auto _ : state) {
        for (const auto& formula : batch) benchmark::DoNotOptimize(chemistry_reference::ParseFormula(formula));
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(BM_RegexBaselineCold)->Unit(benchmark::kMicrosecond);

void BM_MaximumLiquidDensityWarm(benchmark::State& state) {
    std::vector<game::Molecule> molecules;
    for (const auto& formula : FreshBatch()) molecules.emplace_back(formula);
    for (const auto& molecule : molecules) molecule.GetMaximumLiquidDensity();
    for (auto _ : state) {
        for (const auto& molecule : molecules) benchmark::DoNotOptimize(molecule.GetMaximumLiquidDensity());
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(BM_MaximumLiquidDensityWarm)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
