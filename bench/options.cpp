// Splitting a 4 KiB command line with the option grammar, beside a naive split of the same
// text into blank-separated words and name/value halves, measured in the same run. The
// figure to read is the median of the repetitions.
#include <benchmark/benchmark.h>

#include <string>
#include <utility>
#include <vector>

#include "foundation/options/xoption_list.h"

namespace {

constexpr size_t LineChars = 4096;

std::u16string MakeLine() {
    std::u16string line = u"\"/usr/local/bin/travex\"";
    const char16_t* pieces[] = {
        u" -infile=\"/home/user/Music/Some Artist/An Album (2024)/01 - First Track.flac\"",
        u" -outfile=/tmp/out/01.mp3",
        u" -convert_to=mp3",
        u" -dspeffect1=\"Volume Normalize=-mode={qt}track{qt} -target=89\"",
        u" -silent",
        u" -b 320",
        u" --tag=\"ARTIST=Some Artist\"",
        u" -V=2",
    };
    for (size_t i = 0; line.size() < LineChars; ++i) line += pieces[i % 8];
    line.resize(LineChars);
    return line;
}

void BM_OptionListParse(benchmark::State& state) {
    XString text{std::u16string_view(MakeLine())};
    XOptionList list;
    for (auto _ : state) {
        list.Parse(text, 1);
        benchmark::DoNotOptimize(list.Count());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * LineChars * 2);
}

// Words at blanks, each cut at its first '=': no quotes, no grammar.
void BM_NaiveSplit(benchmark::State& state) {
    std::u16string text = MakeLine();
    std::vector<std::pair<std::u16string, std::u16string>> options;
    for (auto _ : state) {
        options.clear();
        size_t pos = 0;
        while (pos < text.size()) {
            size_t end = text.find(u' ', pos);
            if (end == std::u16string::npos) end = text.size();
            if (end > pos && text[pos] == u'-') {
                std::u16string word = text.substr(pos + 1, end - pos - 1);
                size_t eq = word.find(u'=');
                if (eq == std::u16string::npos) {
                    options.emplace_back(std::move(word), std::u16string());
                } else {
                    options.emplace_back(word.substr(0, eq), word.substr(eq + 1));
                }
            }
            pos = end + 1;
        }
        benchmark::DoNotOptimize(options.size());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * LineChars * 2);
}

}  // namespace

BENCHMARK(BM_OptionListParse)->Repetitions(9)->ReportAggregatesOnly(true);
BENCHMARK(BM_NaiveSplit)->Repetitions(9)->ReportAggregatesOnly(true);

BENCHMARK_MAIN();
