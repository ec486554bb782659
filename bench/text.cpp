// Hot text paths against the standard u16string doing the same work.
#include <benchmark/benchmark.h>

#include <string>

#include "foundation/text/xstring.h"
#include "foundation/text/xstring_list.h"

namespace {

const char16_t Piece[] = u"word ";

void BM_XString_Append(benchmark::State& state) {
    for (auto _ : state) {
        XString s;
        for (int64_t i = 0; i < state.range(0); ++i) s.Append(Piece);
        benchmark::DoNotOptimize(s.Text());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_XString_AppendFast(benchmark::State& state) {
    for (auto _ : state) {
        XString s;
        for (int64_t i = 0; i < state.range(0); ++i) s.AppendFast(Piece);
        benchmark::DoNotOptimize(s.Text());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_U16_Append(benchmark::State& state) {
    for (auto _ : state) {
        std::u16string s;
        for (int64_t i = 0; i < state.range(0); ++i) s += Piece;
        benchmark::DoNotOptimize(s.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

std::u16string LongText(int64_t length) {
    std::u16string s;
    while (static_cast<int64_t>(s.size()) < length) s += u"the quick brown fox jumps over the lazy dog ";
    s.resize(static_cast<size_t>(length));
    return s;
}

void BM_XString_Find(benchmark::State& state) {
    std::u16string text = LongText(state.range(0)) + u"needle";
    XString s(text);
    for (auto _ : state) benchmark::DoNotOptimize(s.Find(u"needle"));
    state.SetBytesProcessed(state.iterations() * state.range(0) * 2);
}

void BM_U16_Find(benchmark::State& state) {
    std::u16string s = LongText(state.range(0)) + u"needle";
    for (auto _ : state) benchmark::DoNotOptimize(s.find(u"needle"));
    state.SetBytesProcessed(state.iterations() * state.range(0) * 2);
}

void BM_XString_Replace(benchmark::State& state) {
    XString source(LongText(state.range(0)));
    for (auto _ : state) {
        XString s(source);
        s.Replace(u"fox", u"wolves");
        benchmark::DoNotOptimize(s.Text());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0) * 2);
}

void BM_U16_Replace(benchmark::State& state) {
    std::u16string source = LongText(state.range(0));
    const std::u16string find = u"fox", with = u"wolves";
    for (auto _ : state) {
        // The usual one-pass rebuild, on a fresh copy as the in-place XString::Replace needs.
        std::u16string s = source;
        std::u16string out;
        out.reserve(source.size() + source.size() / 8);
        size_t from = 0, at;
        while ((at = s.find(find, from)) != std::u16string::npos) {
            out.append(s, from, at - from);
            out += with;
            from = at + find.size();
        }
        out.append(s, from, std::u16string::npos);
        s.swap(out);
        benchmark::DoNotOptimize(s.data());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0) * 2);
}

XStringList NaturalNames() {
    XStringList list;
    for (int i = 0; i < 1000; ++i) {
        XString name = XString::Formatted(u"Track %d - Part %d.flac", (i * 7919) % 1000, i % 13);
        list.Add(name);
    }
    return list;
}

void BM_XNaturalCompare_Sort(benchmark::State& state) {
    XStringList names = NaturalNames();
    for (auto _ : state) {
        XStringList copy(names);
        copy.SortNatural();
        benchmark::DoNotOptimize(copy.Item(0));
    }
}

void BM_XStringList_SortPlain(benchmark::State& state) {
    XStringList names = NaturalNames();
    for (auto _ : state) {
        XStringList copy(names);
        copy.Sort();
        benchmark::DoNotOptimize(copy.Item(0));
    }
}

void BM_XNaturalCompare_Pair(benchmark::State& state) {
    XString a(u"Album 2019 - Disc 1 - Track 00012 - Some Long Title.flac");
    XString b(u"Album 2019 - Disc 1 - Track 12 - Some Long Title.flaC");
    for (auto _ : state) benchmark::DoNotOptimize(XNaturalCompare(a.Text(), b.Text()));
}

void BM_U16_ComparePair(benchmark::State& state) {
    std::u16string a(u"Album 2019 - Disc 1 - Track 00012 - Some Long Title.flac");
    std::u16string b(u"Album 2019 - Disc 1 - Track 12 - Some Long Title.flaC");
    for (auto _ : state) benchmark::DoNotOptimize(a.compare(b));
}

}  // namespace

BENCHMARK(BM_XString_Append)->Arg(16)->Arg(10000);
BENCHMARK(BM_XString_AppendFast)->Arg(16)->Arg(10000);
BENCHMARK(BM_U16_Append)->Arg(16)->Arg(10000);
BENCHMARK(BM_XString_Find)->Arg(64 << 10);
BENCHMARK(BM_U16_Find)->Arg(64 << 10);
BENCHMARK(BM_XString_Replace)->Arg(64 << 10);
BENCHMARK(BM_U16_Replace)->Arg(64 << 10);
BENCHMARK(BM_XNaturalCompare_Pair);
BENCHMARK(BM_U16_ComparePair);
BENCHMARK(BM_XNaturalCompare_Sort);
BENCHMARK(BM_XStringList_SortPlain);

BENCHMARK_MAIN();
