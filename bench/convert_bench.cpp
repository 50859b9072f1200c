// UTF-16 <-> UTF-8 conversion speed of zelk beside ICU and a plain copy of the same bytes.
//
// Every case reports bytes per second counted in UTF-8 bytes for all three contenders, so the
// figures of one case compare directly: the copy is the memory limit, ICU the reference.
#include <zelk/astring.h>
#include <zelk/astring8.h>

#include <benchmark/benchmark.h>
#include <unicode/ustring.h>
#include <unicode/utypes.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

using vorlan::zelk::AString;
using vorlan::zelk::AString8;

namespace {

// One script of the corpus: code points that all take the same number of UTF-8 bytes, so each
// case measures one row of the encoding table.
struct Script {
    const char* name;
    std::vector<char32_t> sample;
};

const std::vector<Script>& Scripts() {
    static const std::vector<Script> scripts = {
        // "The quick brown fox jumps over the lazy dog. "
        {"ascii", {0x54, 0x68, 0x65, 0x20, 0x71, 0x75, 0x69, 0x63, 0x6B, 0x20, 0x62, 0x72,
                   0x6F, 0x77, 0x6E, 0x20, 0x66, 0x6F, 0x78, 0x20, 0x6A, 0x75, 0x6D, 0x70,
                   0x73, 0x20, 0x6F, 0x76, 0x65, 0x72, 0x20, 0x74, 0x68, 0x65, 0x20, 0x6C,
                   0x61, 0x7A, 0x79, 0x20, 0x64, 0x6F, 0x67, 0x2E, 0x20}},
        // Cyrillic and accented Latin words joined by no-break spaces: two bytes each.
        {"latin_cyrillic",
         {0x0421, 0x044A, 0x0435, 0x0448, 0x044C, 0x00A0, 0x0436, 0x0435, 0x00A0, 0x0435, 0x0449,
          0x0451, 0x00A0, 0x044D, 0x0442, 0x0438, 0x0445, 0x00A0, 0x00C0, 0x00E9, 0x00FC, 0x00DF,
          0x00F8, 0x0153, 0x00A0, 0x043C, 0x044F, 0x0433, 0x043A, 0x0438, 0x0445, 0x00A0}},
        // Chinese and Japanese with the ideographic space: three bytes each.
        {"cjk",
         {0x4E2D, 0x6587, 0x6587, 0x672C, 0x3000, 0x65E5, 0x672C, 0x8A9E, 0x306E, 0x30C6, 0x30AD,
          0x30B9, 0x30C8, 0x3000, 0x6F22, 0x5B57, 0x3001, 0x4EEE, 0x540D, 0x3002, 0x3000}},
        // Emoji beyond the 16-bit range: four bytes and a surrogate pair each.
        {"emoji",
         {0x1F600, 0x1F602, 0x1F44D, 0x1F680, 0x1F30D, 0x1F389, 0x1F9D1, 0x1F431, 0x1F355, 0x1F3B5,
          0x1F4A1, 0x1F525}},
    };
    return scripts;
}

void AppendUTF16(std::u16string& text, char32_t code) {
    if (code < 0x10000) {
        text += static_cast<char16_t>(code);
    } else {
        code -= 0x10000;
        text += static_cast<char16_t>(0xD800 + (code >> 10));
        text += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
    }
}

// The same text in both forms, the UTF-8 form made by ICU.
struct Corpus {
    std::u16string utf16;
    std::string utf8;
};

std::size_t UTF8Length(char32_t code) {
    return code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
}

// The sample repeated until its UTF-8 form reaches utf8Bytes, which is what the figures count.
Corpus MakeCorpus(const Script& script, std::size_t utf8Bytes) {
    Corpus corpus;
    for (std::size_t i = 0, bytes = 0; bytes < utf8Bytes; ++i) {
        const char32_t code = script.sample[i % script.sample.size()];
        AppendUTF16(corpus.utf16, code);
        bytes += UTF8Length(code);
    }
    corpus.utf8.resize(corpus.utf16.size() * 3);
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8(corpus.utf8.data(), static_cast<int32_t>(corpus.utf8.size()), &length,
                corpus.utf16.data(), static_cast<int32_t>(corpus.utf16.size()), &status);
    corpus.utf8.resize(static_cast<std::size_t>(length));
    return corpus;
}

const unsigned short* Units(const std::u16string& text) {
    return reinterpret_cast<const unsigned short*>(text.data());
}

void ToUTF8Zelk(benchmark::State& state, const Corpus& corpus) {
    const AString source(Units(corpus.utf16), static_cast<unsigned long>(corpus.utf16.size()));
    AString8 target;
    AString::AStringToUTF8(source, target);
    if (std::string(target.c_str(), target.size()) != corpus.utf8) {
        state.SkipWithError("zelk's UTF-8 differs from ICU's");
        return;
    }
    for (auto _ : state) {
        AString::AStringToUTF8(source, target);
        benchmark::DoNotOptimize(target.c_str());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(corpus.utf8.size()));
}

void ToUTF8Icu(benchmark::State& state, const Corpus& corpus) {
    std::string target(corpus.utf16.size() * 3, '\0');
    for (auto _ : state) {
        int32_t length = 0;
        UErrorCode status = U_ZERO_ERROR;
        u_strToUTF8(target.data(), static_cast<int32_t>(target.size()), &length,
                    corpus.utf16.data(), static_cast<int32_t>(corpus.utf16.size()), &status);
        benchmark::DoNotOptimize(length);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(corpus.utf8.size()));
}

void FromUTF8Zelk(benchmark::State& state, const Corpus& corpus) {
    const AString8 source(corpus.utf8.data(), corpus.utf8.size());
    AString target;
    AString::UTF8ToAString(source, target);
    if (std::u16string(reinterpret_cast<const char16_t*>(target.GrabWString()),
                       target.UTF16Count()) != corpus.utf16) {
        state.SkipWithError("zelk's UTF-16 differs from ICU's");
        return;
    }
    for (auto _ : state) {
        AString::UTF8ToAString(source, target);
        benchmark::DoNotOptimize(target.GrabWString());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(corpus.utf8.size()));
}

void FromUTF8Icu(benchmark::State& state, const Corpus& corpus) {
    std::u16string target(corpus.utf8.size(), u'\0');
    for (auto _ : state) {
        int32_t length = 0;
        UErrorCode status = U_ZERO_ERROR;
        u_strFromUTF8(target.data(), static_cast<int32_t>(target.size()), &length,
                      corpus.utf8.data(), static_cast<int32_t>(corpus.utf8.size()), &status);
        benchmark::DoNotOptimize(length);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(corpus.utf8.size()));
}

// The memory limit: the same number of bytes, copied and nothing else.
void Copy(benchmark::State& state, const Corpus& corpus) {
    std::string target(corpus.utf8.size(), '\0');
    for (auto _ : state) {
        std::memcpy(target.data(), corpus.utf8.data(), corpus.utf8.size());
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(corpus.utf8.size()));
}

using Measure = void (*)(benchmark::State&, const Corpus&);

void RegisterCase(const std::string& name, const Corpus* corpus, Measure measure) {
    benchmark::RegisterBenchmark(
        name.c_str(), [corpus, measure](benchmark::State& state) { measure(state, *corpus); });
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    // A path-sized text, where the call's own cost shows, and one of 64 KiB, where the loop does.
    const struct {
        const char* name;
        std::size_t bytes;
    } sizes[] = {{"short", 64}, {"long", 64 * 1024}};
    std::vector<Corpus> corpora;
    corpora.reserve(Scripts().size() * 2);
    for (const auto& size : sizes) {
        for (const Script& script : Scripts()) {
            corpora.push_back(MakeCorpus(script, size.bytes));
            const Corpus* corpus = &corpora.back();
            const std::string tag = std::string(script.name) + "/" + size.name;
            RegisterCase("ToUTF8/" + tag + "/zelk", corpus, ToUTF8Zelk);
            RegisterCase("ToUTF8/" + tag + "/icu", corpus, ToUTF8Icu);
            RegisterCase("FromUTF8/" + tag + "/zelk", corpus, FromUTF8Zelk);
            RegisterCase("FromUTF8/" + tag + "/icu", corpus, FromUTF8Icu);
            RegisterCase("Copy/" + tag, corpus, Copy);
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
