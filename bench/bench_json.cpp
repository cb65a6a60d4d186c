// Json::parse and dump beside other parsers of the same texts, and a memcpy of the text as the floor. The
// destruction of the value is counted in.

#include "json/json.h"
#include "payloads.h"
#include "server/freed_memory.h"

#include <QJsonDocument>

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstring>
#include <string>

namespace {

using json11::Json;

void countBytes(benchmark::State& state, const std::string& text) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

// --- parse ---

void parseOurs(const std::string& text) {
  std::string error;
  benchmark::DoNotOptimize(Json::parse(text, error));
}

void parseNlohmann(const std::string& text) {
  benchmark::DoNotOptimize(nlohmann::json::parse(text));
}

void parseRapidJson(const std::string& text) {
  rapidjson::Document document;
  document.Parse(text.data(), text.size());
  benchmark::DoNotOptimize(document);
}

void parseQt(const std::string& text) {
  benchmark::DoNotOptimize(
      QJsonDocument::fromJson(QByteArray::fromRawData(text.data(), static_cast<qsizetype>(text.size()))));
}

void copyBytes(const std::string& text) {
  const std::unique_ptr<char[]> copy(new char[text.size()]);
  std::memcpy(copy.get(), text.data(), text.size());
  benchmark::DoNotOptimize(copy.get());
  benchmark::ClobberMemory();
}

using ParseFunction = void (*)(const std::string&);

void runParse(benchmark::State& state, ParseFunction parse, const std::string& text) {
  for (auto _ : state) parse(text);
  countBytes(state, text);
}

// --- dump ---

// A value read once outside the measured loop, and how it is printed.

void dumpOurs(benchmark::State& state, const std::string& text) {
  std::string error;
  const Json value = Json::parse(text, error);
  for (auto _ : state) benchmark::DoNotOptimize(value.dump());
  countBytes(state, text);
}

void dumpNlohmann(benchmark::State& state, const std::string& text) {
  const nlohmann::json value = nlohmann::json::parse(text);
  for (auto _ : state) benchmark::DoNotOptimize(value.dump());
  countBytes(state, text);
}

void dumpRapidJson(benchmark::State& state, const std::string& text) {
  rapidjson::Document document;
  document.Parse(text.data(), text.size());
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    document.Accept(writer);
    benchmark::DoNotOptimize(buffer.GetString());
  }
  countBytes(state, text);
}

void dumpQt(benchmark::State& state, const std::string& text) {
  const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(text));
  for (auto _ : state) benchmark::DoNotOptimize(document.toJson(QJsonDocument::Compact));
  countBytes(state, text);
}

void registerAll(const std::vector<Payload>& payloads) {
  const std::pair<const char*, ParseFunction> parsers[] = {{"ours", parseOurs},
                                                           {"nlohmann", parseNlohmann},
                                                           {"rapidjson", parseRapidJson},
                                                           {"qt", parseQt},
                                                           {"memcpy", copyBytes}};
  const std::pair<const char*, void (*)(benchmark::State&, const std::string&)> dumpers[] = {
      {"ours", dumpOurs}, {"nlohmann", dumpNlohmann}, {"rapidjson", dumpRapidJson}, {"qt", dumpQt}};
  for (const Payload& payload : payloads) {
    for (const auto& [who, parse] : parsers) {
      const std::string name = std::string("parse/") + payload.name + "/" + who;
      benchmark::RegisterBenchmark(name.c_str(), runParse, parse, payload.json);
    }
    for (const auto& [who, dump] : dumpers) {
      const std::string name = std::string("dump/") + payload.name + "/" + who;
      benchmark::RegisterBenchmark(name.c_str(), dump, payload.json);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  keepFreedMemory();  // as the server does
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  registerAll(jsonPayloads());
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
