// The engine's hot loops one by one, each beside a plain memcpy of the same bytes (the first row).
#include <cstring>
#include <string>

#include <benchmark/benchmark.h>

#include "mime/buffers/byte_search.h"
#include "mime/buffers/data_buffer.h"
#include "mime/buffers/log_base.h"
#include "mime/buffers/string_buffer.h"
#include "mime/charsets/encoding_convert.h"
#include "mime/coding/content_coding.h"

namespace {

using namespace keldane::mime;

constexpr std::size_t kSize = 1 << 20;

/// A megabyte of lines of German text, in Latin 1 or in UTF-8.
std::string text(bool utf8) {
  const std::string line =
      utf8 ? "Die Kürbisse sind schon größer als gedacht, über Nacht fällt Regen.\r\n"
           : "Die K\xFCrbisse sind schon gr\xF6\xDF"
             "er als gedacht, \xFC"
             "ber Nacht f\xE4llt Regen.\r\n";
  std::string all;
  while (all.size() < kSize) all += line;
  return all;
}

void count(benchmark::State& state, const std::string& input) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(input.size()));
}

void plainCopy(benchmark::State& state) {
  const std::string input = text(true);
  std::string out(input.size(), '\0');
  for (auto _ : state) {
    std::memcpy(out.data(), input.data(), input.size());
    benchmark::ClobberMemory();
  }
  count(state, input);
}

void base64(benchmark::State& state) {
  ContentCoding coding;
  StringBuffer encoded;
  const std::string input = text(true);
  coding.encodeBase64(input.data(), input.size(), encoded);
  DataBuffer out;
  for (auto _ : state) {
    out.clear();
    coding.decodeBase64ToDb(encoded.getString(), encoded.getSize(), out);
    benchmark::ClobberMemory();
  }
  count(state, std::string(encoded.view()));
}

void quotedPrintable(benchmark::State& state) {
  ContentCoding coding;
  StringBuffer encoded;
  const std::string input = text(true);
  coding.encodeQuotedPrintable(input.data(), input.size(), encoded);
  DataBuffer out;
  for (auto _ : state) {
    out.clear();
    coding.decodeQuotedPrintable(encoded.getString(), encoded.getSize(), out);
    benchmark::ClobberMemory();
  }
  count(state, std::string(encoded.view()));
}

void encodedWords(benchmark::State& state) {
  ContentCoding coding;
  LogNull log;
  std::string input;
  while (input.size() < kSize) input += "=?utf-8?B?R3LDvMOfZQ==?= =?iso-8859-1?Q?caf=E9_und_Tee?= ";
  for (auto _ : state) {
    StringBuffer value(input);
    coding.QB_DecodeToUtf8(value, log);
    benchmark::DoNotOptimize(value.getString());
  }
  count(state, input);
}

void utf8Check(benchmark::State& state) {
  const std::string input = text(true);
  for (auto _ : state) benchmark::DoNotOptimize(isValidUtf8(input));
  count(state, input);
}

void asciiCheck(benchmark::State& state) {
  const std::string input(kSize, 'a');
  for (auto _ : state) benchmark::DoNotOptimize(isAllAscii(input));
  count(state, input);
}

void convertTo(benchmark::State& state, int codePage) {
  const std::string input = text(false);
  LogNull log;
  DataBuffer out;
  for (auto _ : state) {
    out.clear();
    EncodingConvert convert;
    convert.EncConvert(codePage, 65001, input, out, log);
    benchmark::ClobberMemory();
  }
  count(state, input);
}

void windows1252ToUtf8(benchmark::State& state) { convertTo(state, 1252); }
void shiftJisToUtf8(benchmark::State& state) { convertTo(state, 932); }

void delimiterSearch(benchmark::State& state) {
  const std::string input = text(true) + "--=_NextPart_000_0001\r\n";
  const std::string needle = "--=_NextPart_000_0001\r\n";
  for (auto _ : state) benchmark::DoNotOptimize(findBytes(input, needle));
  count(state, input);
}

void delimiterSearchAmongDashes(benchmark::State& state) {
  const std::string input = std::string(kSize, '-') + "----------b\r\n";
  const std::string needle = "----------b\r\n";
  for (auto _ : state) benchmark::DoNotOptimize(findBytes(input, needle));
  count(state, input);
}

BENCHMARK(plainCopy);
BENCHMARK(base64);
BENCHMARK(quotedPrintable);
BENCHMARK(encodedWords);
BENCHMARK(utf8Check);
BENCHMARK(asciiCheck);
BENCHMARK(windows1252ToUtf8);
BENCHMARK(shiftJisToUtf8);
BENCHMARK(delimiterSearch);
BENCHMARK(delimiterSearchAmongDashes);

}  // namespace

BENCHMARK_MAIN();
