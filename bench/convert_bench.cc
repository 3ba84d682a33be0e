// SPDX-License-Identifier: MIT
// Arrays to and from JSON beside a loop over the JSON library that a careful programmer would write by hand.
//
// "rapidjson" fills or reads the same CoreArray as tovkit does; "rapidjson_vector" a std::vector, which grows
// by doubling: the difference is what the array's own growth steps and its mutex cost.
#include <tovkit/convert.h>

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>

#include <string>
#include <vector>

namespace {

using tovkit::Convert;
using tovkit::Json;
using tovkit::JsonValue;
using tovkit::SharedPtr;

std::string Text(int elements) {
  std::string text = "[";
  for (int i = 0; i < elements; ++i) text += std::to_string(i) + ",";
  text.back() = ']';
  return text;
}

int Elements(const benchmark::State& state) { return static_cast<int>(state.range(0)); }

void ReadTovkit(benchmark::State& state) {
  const std::string text = Text(Elements(state));
  const SharedPtr<JsonValue> root = Json::Parse(text.data(), static_cast<unsigned>(text.size()), nullptr);
  for (auto _ : state) {
    CoreArray<unsigned> array;
    Convert::JsonToArray(root, array);
    benchmark::DoNotOptimize(array.GetData());
  }
}
BENCHMARK(ReadTovkit)->Name("convert/json_to_array/tovkit")->Arg(1000)->Arg(100000)->Arg(1000000);

template <typename Append>
void ReadByHand(const rapidjson::Document& document, Append append) {
  for (const rapidjson::Value& element : document.GetArray())
    append(element.IsUint() ? element.GetUint() : 0);
}

void ReadRapidjson(benchmark::State& state) {
  rapidjson::Document document;
  document.Parse(Text(Elements(state)).c_str());
  for (auto _ : state) {
    CoreArray<unsigned> array;
    ReadByHand(document, [&array](unsigned value) { array.Add(value); });
    benchmark::DoNotOptimize(array.GetData());
  }
}
BENCHMARK(ReadRapidjson)->Name("convert/json_to_array/rapidjson")->Arg(1000)->Arg(100000)->Arg(1000000);

void ReadRapidjsonVector(benchmark::State& state) {
  rapidjson::Document document;
  document.Parse(Text(Elements(state)).c_str());
  for (auto _ : state) {
    std::vector<unsigned> array;
    ReadByHand(document, [&array](unsigned value) { array.push_back(value); });
    benchmark::DoNotOptimize(array.data());
  }
}
BENCHMARK(ReadRapidjsonVector)
    ->Name("convert/json_to_array/rapidjson_vector")
    ->Arg(1000)
    ->Arg(100000)
    ->Arg(1000000);

CoreArray<unsigned> Numbers(int count) {
  CoreArray<unsigned> array;
  for (int i = 0; i < count; ++i) array.Add(static_cast<unsigned>(i));
  return array;
}

void WriteTovkit(benchmark::State& state) {
  const CoreArray<unsigned> array = Numbers(Elements(state));
  for (auto _ : state) {
    const SharedPtr<JsonValue> json = Convert::ArrayToJson(array);
    benchmark::DoNotOptimize(json.Get());
  }
}
BENCHMARK(WriteTovkit)->Name("convert/array_to_json/tovkit")->Arg(1000)->Arg(100000)->Arg(1000000);

void WriteRapidjson(benchmark::State& state) {
  const CoreArray<unsigned> array = Numbers(Elements(state));
  for (auto _ : state) {
    rapidjson::Document document;
    document.SetArray();
    for (int i = 0; i < array.GetSize(); ++i) document.PushBack(array[i], document.GetAllocator());
    benchmark::DoNotOptimize(document.Begin());
  }
}
BENCHMARK(WriteRapidjson)->Name("convert/array_to_json/rapidjson")->Arg(1000)->Arg(100000)->Arg(1000000);

}  // namespace
