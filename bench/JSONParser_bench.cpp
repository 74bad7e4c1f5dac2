// Reading JSON as events: a document of mostly strings, an array of numbers, and small messages. Beside it
// the event parsers of RapidJSON and yajl, where their packages are installed; both read strict JSON.

#include <cstdint>
#include <string>

#include <benchmark/benchmark.h>

#if QEL_BENCH_RAPIDJSON
#include <rapidjson/reader.h>
#endif
#if QEL_BENCH_YAJL
#include <yajl/yajl_parse.h>
#endif

#include <qel/serialize/JSONFormatter.h>

namespace {

// The texts ------------------------------------------------------------------------------------

// 600 KB of maps like those of a media search; one text in eight has escapes in it.
std::string Strings() {
  std::string text = "[";
  for (int i = 0; text.size() < 600 * 1000; ++i) {
    const std::string number = std::to_string(i * 7919 % 100000);
    text += text.size() > 1 ? "," : "";
    text += R"({"title":"A title of some length, number )" + number;
    text += i % 4 == 0 ? R"( \"live\"\t\u00e9","artist":")" : R"(","artist":")";
    text += "The players of the " + number + R"( th street","album":"Songs of the year","path":")";
    text += "music/players/" + number + "/" + number + R"( a title.flac","size":)" + number + "}";
  }
  return text + "]";
}

// 1 MB, whole numbers and fractions by turns.
std::string Numbers() {
  std::string text = "[0";
  for (uint32_t i = 1; text.size() < 1000 * 1000; ++i) {
    const uint32_t number = i * 2654435761u;
    text += "," + std::to_string(number >> 2);
    text += "," + std::to_string(number >> 20) + "." + std::to_string(number % 100000);
  }
  return text + "]";
}

// 200 bytes.
std::string Message() {
  return R"({"id":4711,"method":"playback.seek","params":{"player":"living room","position":1234.5,)"
         R"("relative":false,"session":"3f2504e0-4f89-11d3-9a0c-0305e82c3301"},)"
         R"("tags":["a","b",17,null,true],"v":2,"x":"0123"})";
}

const std::string& TextOf(int64_t kind) {
  static const std::string texts[] = {Strings(), Numbers(), Message()};
  return texts[kind];
}

// Names the run, counts its events, and stops it if the text was not read.
void Report(benchmark::State& state, int64_t events, bool good) {
  static const char* const kLabels[] = {"strings, 600 KB", "numbers, 1 MB", "message, 200 bytes"};
  state.SetLabel(kLabels[state.range(0)]);
  state.SetItemsProcessed(events);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(TextOf(state.range(0)).size()));
  if (!good)
    state.SkipWithError("not read");
}

// The parsers ------------------------------------------------------------------------------------

// Counts events; each looks at its argument.
class Counter : public qelISerialize {
public:
  int MapBegin() override { return Count(); }
  int MapKey(const char* key, bool) override { return Count(key); }
  int MapEnd() override { return Count(); }
  int ArrayBegin() override { return Count(); }
  int ArrayItemSeparator() override { return Count(); }
  int ArrayEnd() override { return Count(); }
  int String(const qelWChar* value, bool) override { return Count(value); }
  int String(const char* value, bool) override { return Count(value); }
  int Boolean(bool value) override { return Count(value); }
  int U32(qelULong value) override { return Count(value); }
  int S32(qelLong value) override { return Count(value); }
  int U64(unsigned long long value) override { return Count(value); }
  int S64(long long value) override { return Count(value); }
  int Float(double value) override { return Count(value); }
  int Null() override { return Count(); }

  int64_t events = 0;

private:
  template <class... Values>
  int Count(Values... values) {
    (benchmark::DoNotOptimize(values), ...);
    ++events;
    return 0;
  }
};

void Parse(benchmark::State& state) {
  const std::string& text = TextOf(state.range(0));
  Counter counter;
  bool good = true;
  for (auto _ : state)
    good = qelJSONFormatter::Parse(text.c_str(), counter) == 0 && good;
  Report(state, counter.events, good);
}
BENCHMARK(Parse)->DenseRange(0, 2);

#if QEL_BENCH_RAPIDJSON
struct RapidCounter {
  template <class... Values>
  bool Count(Values... values) {
    (benchmark::DoNotOptimize(values), ...);
    ++events;
    return true;
  }
  bool Null() { return Count(); }
  bool Bool(bool value) { return Count(value); }
  bool Int(int value) { return Count(value); }
  bool Uint(unsigned value) { return Count(value); }
  bool Int64(int64_t value) { return Count(value); }
  bool Uint64(uint64_t value) { return Count(value); }
  bool Double(double value) { return Count(value); }
  bool RawNumber(const char* text, rapidjson::SizeType, bool) { return Count(text); }
  bool String(const char* text, rapidjson::SizeType, bool) { return Count(text); }
  bool StartObject() { return Count(); }
  bool Key(const char* text, rapidjson::SizeType, bool) { return Count(text); }
  bool EndObject(rapidjson::SizeType) { return Count(); }
  bool StartArray() { return Count(); }
  bool EndArray(rapidjson::SizeType) { return Count(); }

  int64_t events = 0;
};

// With exact fractions, as qel reads them.
void RapidJSON(benchmark::State& state) {
  const std::string& text = TextOf(state.range(0));
  RapidCounter counter;
  bool good = true;
  for (auto _ : state) {
    rapidjson::Reader reader;
    rapidjson::StringStream stream(text.c_str());
    good = !reader.Parse<rapidjson::kParseFullPrecisionFlag>(stream, counter).IsError() && good;
  }
  Report(state, counter.events, good);
}
BENCHMARK(RapidJSON)->DenseRange(0, 2);
#endif

#if QEL_BENCH_YAJL
template <class... Values>
int YajlCount(void* events, Values... values) {
  (benchmark::DoNotOptimize(values), ...);
  ++*static_cast<int64_t*>(events);
  return 1;
}

void Yajl(benchmark::State& state) {
  static const yajl_callbacks kCallbacks = {
      [](void* n) { return YajlCount(n); },
      [](void* n, int value) { return YajlCount(n, value); },
      [](void* n, long long value) { return YajlCount(n, value); },
      [](void* n, double value) { return YajlCount(n, value); },
      nullptr,
      [](void* n, const unsigned char* text, size_t) { return YajlCount(n, text); },
      [](void* n) { return YajlCount(n); },
      [](void* n, const unsigned char* text, size_t) { return YajlCount(n, text); },
      [](void* n) { return YajlCount(n); },
      [](void* n) { return YajlCount(n); },
      [](void* n) { return YajlCount(n); },
  };
  const std::string& text = TextOf(state.range(0));
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  int64_t events = 0;
  bool good = true;
  for (auto _ : state) {
    const yajl_handle parser = yajl_alloc(&kCallbacks, nullptr, &events);
    good = yajl_parse(parser, bytes, text.size()) == yajl_status_ok && good;
    good = yajl_complete_parse(parser) == yajl_status_ok && good;
    yajl_free(parser);
  }
  Report(state, events, good);
}
BENCHMARK(Yajl)->DenseRange(0, 2);
#endif

} // namespace
