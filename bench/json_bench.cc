// SPDX-License-Identifier: MIT
// JSON texts to documents and back, and the lookup of members.
//
// The documents are canada.json, citm_catalog.json and twitter.json in the folder that TOVKIT_BENCH_DATA
// names (in the environment, else at build time); a file that is absent is skipped. The row "rapidjson" is
// what the library stands on, called directly: the same stream, flags, pool and stack, and for writing the
// same copy of the text into a CoreString.
#include <tovkit/json.h>

#include <Poco/JSON/Parser.h>
#include <Poco/JSON/Stringifier.h>
#include <benchmark/benchmark.h>
#include <json/json.h>
#include <rapidjson/document.h>
#include <rapidjson/encodedstream.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>
#include <nlohmann/json.hpp>

#include <QJsonDocument>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr char kDescription[] =
    R"({"Content": "From JSON text to a drawn line, \u5b8b\u4f53", "Font": {"FontName": "SimSun", "FontSize": 24.5,)"
    R"( "Bold": true, "Italic": false, "Color": "#3366CC"}, "DeltaX": 12.25, "DeltaY": -40, "Page": 3})";

std::string ReadData(const std::string& name) {
  const char* const folder = std::getenv("TOVKIT_BENCH_DATA");
  std::ifstream file((folder != nullptr ? folder : TOVKIT_BENCH_DATA) + ("/" + name), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void CountBytes(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(size));
}

tovkit::SharedPtr<tovkit::JsonValue> ParseTovkit(const std::string& text) {
  return tovkit::Json::Parse(text.data(), static_cast<unsigned int>(text.size()), nullptr);
}

void ParseRapidjson(const std::string& text, rapidjson::Document& document) {
  rapidjson::MemoryStream bytes(text.data(), text.size());
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input(bytes);
  document.ParseStream<rapidjson::kParseDefaultFlags>(input);
}

struct Tovkit {
  static constexpr char kName[] = "tovkit";
  using Document = tovkit::SharedPtr<tovkit::JsonValue>;
  static Document Parse(const std::string& text) { return ParseTovkit(text); }
  static std::size_t Write(const Document& document) {
    return static_cast<std::size_t>(tovkit::Json::Write(document, nullptr).GetLength());
  }
};

struct Rapidjson {
  static constexpr char kName[] = "rapidjson";
  using Document = std::unique_ptr<rapidjson::Document>;
  static Document Parse(const std::string& text) {
    auto document = std::make_unique<rapidjson::Document>(nullptr, 1024);
    ParseRapidjson(text, *document);
    return document;
  }
  static std::size_t Write(const Document& document) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    document->Accept(writer);
    const CoreString text(buffer.GetString(), static_cast<int>(buffer.GetSize()));
    return static_cast<std::size_t>(text.GetLength());
  }
};

struct Nlohmann {
  static constexpr char kName[] = "nlohmann";
  using Document = nlohmann::json;
  static Document Parse(const std::string& text) { return nlohmann::json::parse(text); }
  static std::size_t Write(const Document& document) { return document.dump().size(); }
};

struct Jsoncpp {
  static constexpr char kName[] = "jsoncpp";
  using Document = Json::Value;
  static Document Parse(const std::string& text) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value document;
    reader->parse(text.data(), text.data() + text.size(), &document, nullptr);
    return document;
  }
  static std::size_t Write(const Document& document) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, document).size();
  }
};

struct Qt {
  static constexpr char kName[] = "qt";
  using Document = QJsonDocument;
  static Document Parse(const std::string& text) {
    return QJsonDocument::fromJson(QByteArray::fromRawData(text.data(), static_cast<int>(text.size())));
  }
  static std::size_t Write(const Document& document) {
    return static_cast<std::size_t>(document.toJson(QJsonDocument::Compact).size());
  }
};

struct Poco {
  static constexpr char kName[] = "poco";
  using Document = ::Poco::Dynamic::Var;
  static Document Parse(const std::string& text) {
    ::Poco::JSON::Parser parser;
    return parser.parse(text);
  }
  static std::size_t Write(const Document& document) {
    std::ostringstream out;
    ::Poco::JSON::Stringifier::stringify(document, out);
    return out.str().size();
  }
};

// The document of simdjson, which is read and not changed. Its parser is made for each text, as ours is.
struct Simdjson {
  static constexpr char kName[] = "simdjson";
  using Document = std::unique_ptr<simdjson::dom::parser>;
  static Document Parse(const std::string& text) {
    auto parser = std::make_unique<simdjson::dom::parser>();
    const simdjson::error_code error = parser->parse(text.data(), text.size()).error();
    if (error != simdjson::SUCCESS) std::abort();
    return parser;
  }
};

template <typename Peer>
void RegisterReader(const std::string& name, const std::string& text) {
  benchmark::RegisterBenchmark(("json/parse_" + name + "/" + Peer::kName).c_str(),
                               [text](benchmark::State& state) {
                                 for (auto _ : state) benchmark::DoNotOptimize(Peer::Parse(text));
                                 CountBytes(state, text.size());
                               });
}

template <typename Peer>
void RegisterPeer(const std::string& name, const std::string& text) {
  RegisterReader<Peer>(name, text);
  benchmark::RegisterBenchmark(("json/write_" + name + "/" + Peer::kName).c_str(),
                               [text](benchmark::State& state) {
                                 const auto document = Peer::Parse(text);
                                 std::size_t size = 0;
                                 for (auto _ : state) benchmark::DoNotOptimize(size = Peer::Write(document));
                                 CountBytes(state, size);
                               });
}

void RegisterDocument(const std::string& name, const std::string& text) {
  if (text.empty()) {
    benchmark::RegisterBenchmark(("json/parse_" + name + "/tovkit").c_str(), [](benchmark::State& state) {
      state.SkipWithError("no such document; set TOVKIT_BENCH_DATA to the folder that holds it");
    });
    return;
  }
  RegisterPeer<Tovkit>(name, text);
  RegisterPeer<Rapidjson>(name, text);
  RegisterPeer<Nlohmann>(name, text);
  RegisterPeer<Jsoncpp>(name, text);
  RegisterPeer<Qt>(name, text);
  RegisterPeer<Poco>(name, text);
  RegisterReader<Simdjson>(name, text);
}

// Forms of a text that a reader might take for exceptions.
void RegisterForm(const std::string& name, const std::string& text) {
  RegisterPeer<Tovkit>(name, text);
  RegisterPeer<Rapidjson>(name, text);
}

// Twenty thousand small records, and behind them one member that is nested 1,000 levels deep.
std::string DeepAtTheEnd() {
  std::string text = "{\"records\": [";
  for (int i = 0; i < 20000; ++i)
    text += std::string(i == 0 ? "" : ",") + R"({"id": 12345, "name": "record", "at": 1.5})";
  return text + "], \"deep\": " + std::string(1000, '[') + std::string(1000, ']') + "}";
}

// Documents made by calls: an array of `count` numbers, appended or inserted at the front.
void InsertTovkit(benchmark::State& state, int count, bool atFront) {
  for (auto _ : state) {
    const auto root = ParseTovkit("[]");
    for (int i = 0; i < count; ++i) root->InsertInt(atFront ? 0 : -1, i);
    benchmark::DoNotOptimize(root->Size());
  }
}

void InsertVector(benchmark::State& state, int count, bool atFront) {
  struct Record {
    std::int64_t value;
    std::int64_t flags;
  };
  for (auto _ : state) {
    std::vector<Record> records;
    for (int i = 0; i < count; ++i) records.insert(atFront ? records.begin() : records.end(), Record{i, 1});
    benchmark::DoNotOptimize(records.data());
  }
}

void RegisterInsertions() {
  for (const bool atFront : {false, true}) {
    const int count = atFront ? 10000 : 100000;
    const std::string name = atFront ? "json/insert_at_front 10000/" : "json/append 100000/";
    benchmark::RegisterBenchmark((name + "tovkit").c_str(),
                                 [=](benchmark::State& state) { InsertTovkit(state, count, atFront); });
    benchmark::RegisterBenchmark((name + "vector").c_str(),
                                 [=](benchmark::State& state) { InsertVector(state, count, atFront); });
  }
}

// An object like those that applications read: names of six to nine bytes, values of several kinds. Every
// member is looked up once an iteration.
struct LookupObject {
  explicit LookupObject(int members) {
    text = "{";
    for (int i = 0; i < members; ++i) {
      static const char* const kNames[] = {"Content", "FontSize", "Color", "DeltaX"};
      names.push_back(kNames[i % 4] + std::to_string(i));
      text += (i == 0 ? "\"" : ",\"") + names.back() + "\":" + std::to_string(i);
    }
    text += "}";
  }
  std::string text;
  std::vector<std::string> names;
};

void GetMemberTovkit(benchmark::State& state, const LookupObject& object) {
  const auto root = ParseTovkit(object.text);
  for (auto _ : state) {
    for (const std::string& name : object.names) benchmark::DoNotOptimize(root->GetMember(name.c_str()));
  }
}

void FindMemberRapidjson(benchmark::State& state, const LookupObject& object) {
  rapidjson::Document document;
  ParseRapidjson(object.text, document);
  for (auto _ : state) {
    for (const std::string& name : object.names) {
      benchmark::DoNotOptimize(document.FindMember(name.c_str())->value.GetUint());
    }
  }
}

// The scan, and the two blocks that a handle is made of.
void FindMemberAndAllocate(benchmark::State& state, const LookupObject& object) {
  rapidjson::Document document;
  ParseRapidjson(object.text, document);
  for (auto _ : state) {
    for (const std::string& name : object.names) {
      benchmark::DoNotOptimize(document.FindMember(name.c_str())->value.GetUint());
      void* node = operator new(48);
      benchmark::DoNotOptimize(node);
      void* block = operator new(24);
      benchmark::DoNotOptimize(block);
      operator delete(node);
      operator delete(block);
    }
  }
}

[[maybe_unused]] const int kRegistered = [] {
  RegisterDocument("description", kDescription);
  RegisterDocument("canada", ReadData("canada.json"));
  RegisterDocument("citm_catalog", ReadData("citm_catalog.json"));
  RegisterDocument("twitter", ReadData("twitter.json"));
  RegisterForm("deep_at_the_end", DeepAtTheEnd());
  RegisterInsertions();
  for (const int members : {8, 16, 32, 64, 256, 1000}) {
    const LookupObject object(members);
    const auto add = [&object, members](const char* who,
                                        void (*run)(benchmark::State&, const LookupObject&)) {
      const std::string name = "json/get_member_of_" + std::to_string(members) + "/" + who;
      benchmark::RegisterBenchmark(name.c_str(),
                                   [object, run](benchmark::State& state) { run(state, object); });
    };
    add("tovkit", GetMemberTovkit);
    add("rapidjson", FindMemberRapidjson);
    add("rapidjson+two_allocations", FindMemberAndAllocate);
  }
  return 0;
}();

}  // namespace
