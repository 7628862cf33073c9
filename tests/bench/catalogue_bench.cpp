/* catalogue_bench.cpp - loading a firmware map and matching drives against it: both must grow linearly. */
#include "catalogue/map.h"
#include "catalogue/match.h"
#include "device/dev.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#include <unistd.h>

/* A map file of this many lines, no two models alike, in the manner of real ones. Removed at the end. */
class map_file
{
  public:
    explicit map_file(int64_t lines)
    {
        const file_ptr f(fdopen(mkstemp(path.data()), "w"));
        if (!f) abort();
        for (int64_t i = 0; i < lines; ++i)
            fprintf(f.get(), "^ST%06uNM\\d+[A-Z]* SN0[0-4] SN05 st/model-%u.lod\n", static_cast<unsigned>(i),
                    static_cast<unsigned>(i));
    }
    map_file(const map_file &) = delete;
    map_file &operator=(const map_file &) = delete;
    ~map_file() { unlink(path.c_str()); }

    [[nodiscard]] GList *load() const
    {
        int errors = 0;
        GList *map = loadMap(path.c_str(), &errors, {}, nullptr);
        if (errors) abort();
        return map;
    }

    std::string path = "/tmp/vandrel-bench-XXXXXX";
};

static benchmark::Counter time_per(int64_t items)
{
    return {static_cast<double>(items),
            benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert};
}

static void load_map(benchmark::State &state)
{
    const map_file file(state.range(0));
    while (state.KeepRunning())
        g_list_free_full(file.load(), free_one_map);
    state.SetComplexityN(state.range(0));
    state.counters["per_line"] = time_per(state.range(0));
}
BENCHMARK(load_map)->Arg(1000)->Arg(2000)->Arg(5000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity();

/* Every drive matches one line. */
static void match_drives(benchmark::State &state, int64_t num_drives, int64_t num_lines)
{
    GList *map = map_file(num_lines).load();
    std::vector<Dev> drives(static_cast<size_t>(num_drives));
    for (size_t i = 0; i < drives.size(); ++i) {
        drives[i].model = format_text(32, "ST%06zuNM0012A", i * 7 % static_cast<size_t>(num_lines));
        drives[i].rev = "SN03";
    }
    while (state.KeepRunning())
        for (Dev &dev : drives) {
            find_image(&dev, map);
            if (!dev.selected) state.SkipWithError("a drive matched nothing");
        }
    g_list_free_full(map, free_one_map);
    state.SetComplexityN(state.range(0));
    state.counters["per_pair"] = time_per(num_drives * num_lines);
}

static void match_by_lines(benchmark::State &state)
{
    match_drives(state, 100, state.range(0));
}
BENCHMARK(match_by_lines)
    ->Arg(1000)
    ->Arg(2500)
    ->Arg(5000)
    ->Arg(10000)
    ->Arg(20000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();

static void match_by_drives(benchmark::State &state)
{
    match_drives(state, state.range(0), 10000);
}
BENCHMARK(match_by_drives)
    ->Arg(100)
    ->Arg(250)
    ->Arg(500)
    ->Arg(1000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();
