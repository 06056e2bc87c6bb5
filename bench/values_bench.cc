// The value converters' text paths and the coordinate parser, per call.
//
// Absolute times depend on the machine; what counts is the ratio of each path to a reference
// measured in the same run, printed at the end:
//   - numbers and short texts against a plain strtod of the same text;
//   - dates against strptime + mktime of the same text (the C library's own reading);
//   - the coordinate parser against one precompiled ICU match of the same pattern, which is
//     what a cache of compiled patterns would cost, so that such a cache can be judged.

#include <benchmark/benchmark.h>
#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "orvelin/values/coordinate_parser.h"
#include "orvelin/values/coordinate_writer.h"
#include "orvelin/values/date_edition.h"
#include "orvelin/values/date_time_value_converter.h"
#include "orvelin/values/value.h"
#include "orvelin/values/value_converter.h"

namespace {

using namespace orvelin;

const std::string kNumber = "1 234,5";
const std::string kDate = "2021:03:04 10:11:12";
const std::string kYear = "2021";  // the last of the eleven forms
const std::string kCoordinate = "48.8566, 2.3522";
const std::string kPostCoordinate = "48 51 23.8 N, 2 21 7.9 E";  // the last of the four forms

// ---------------------------------------------------------------------------------------------
// References

void BM_Reference_strtod(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(std::strtod(kNumber.c_str(), nullptr));
}
BENCHMARK(BM_Reference_strtod);

void BM_Reference_strptime(benchmark::State& state) {
  for (auto _ : state) {
    std::tm fields{};
    strptime(kDate.c_str(), "%Y:%m:%d %H:%M:%S", &fields);
    fields.tm_isdst = -1;
    benchmark::DoNotOptimize(std::mktime(&fields));
  }
}
BENCHMARK(BM_Reference_strptime);

void BM_Reference_precompiledRegex(benchmark::State& state) {
  const std::string pattern = "^" + std::string(CoordinateParser::latidudeDDdddddPattern) +
                              std::string(CoordinateParser::separatorPattern) +
                              std::string(CoordinateParser::longitudeDDdddddPattern) + "$";
  UErrorCode status = U_ZERO_ERROR;
  UParseError error{};
  std::unique_ptr<icu::RegexPattern> compiled(
      icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(pattern), 0, error, status));
  std::unique_ptr<icu::RegexMatcher> matcher(compiled->matcher(status));
  const auto text = icu::UnicodeString::fromUTF8(kCoordinate);
  for (auto _ : state) {
    matcher->reset(text);
    benchmark::DoNotOptimize(matcher->find(status));
    std::string latitude;
    matcher->group(1, status).toUTF8String(latitude);
    benchmark::DoNotOptimize(std::strtod(latitude.c_str(), nullptr));
  }
}
BENCHMARK(BM_Reference_precompiledRegex);

// ---------------------------------------------------------------------------------------------
// Converters

template <typename Converter>
void stringPath(benchmark::State& state, const Converter& converter, const std::string& text) {
  for (auto _ : state) benchmark::DoNotOptimize(converter.stringValueFromStringValue(text));
}

void BM_SDouble_stringValue(benchmark::State& state) { stringPath(state, SDoubleValueConverter(), kNumber); }
BENCHMARK(BM_SDouble_stringValue);

void BM_UDouble_stringValue(benchmark::State& state) { stringPath(state, UDoubleValueConverter(), kNumber); }
BENCHMARK(BM_UDouble_stringValue);

void BM_SInt_stringValue(benchmark::State& state) { stringPath(state, SIntValueConverter(), std::string("1e3")); }
BENCHMARK(BM_SInt_stringValue);

// An integer text goes through a double and its shortest text, as every integer does.
void BM_UInt_stringValue(benchmark::State& state) { stringPath(state, UIntValueConverter(), std::string("400")); }
BENCHMARK(BM_UInt_stringValue);

void BM_UInt_rawFromJSONNumber(benchmark::State& state) {
  const UIntValueConverter converter;
  const Value raw(std::int64_t{400});
  for (auto _ : state) benchmark::DoNotOptimize(converter.stringValueFromRawValue(raw));
}
BENCHMARK(BM_UInt_rawFromJSONNumber);

void BM_Bool_stringValue(benchmark::State& state) { stringPath(state, BoolValueConverter(), std::string("Yes")); }
BENCHMARK(BM_Bool_stringValue);

void BM_String_stringValue(benchmark::State& state) { stringPath(state, StringValueConverter(), std::string("Canon")); }
BENCHMARK(BM_String_stringValue);

// The look-up of a code among the 249, "ZWE" being the last in the order of the cases.
void BM_Country_typedValue(benchmark::State& state) {
  const C3166a3ValueConverter converter;
  for (auto _ : state) benchmark::DoNotOptimize(converter.typedValueFromStringValue("ZWE"));
}
BENCHMARK(BM_Country_typedValue);

void BM_Country_formattedValue(benchmark::State& state) {
  const C3166a3ValueConverter converter;
  for (auto _ : state) benchmark::DoNotOptimize(converter.formattedValueFromStringValue("FRA"));
}
BENCHMARK(BM_Country_formattedValue);

void BM_Array_stringValue(benchmark::State& state) {
  stringPath(state, ArrayValueConverter(std::make_shared<UIntValueConverter>(), " "), std::string("1 2 3 4"));
}
BENCHMARK(BM_Array_stringValue);

void BM_DateTime_stringValue(benchmark::State& state) { stringPath(state, DateTimeValueConverter(), kDate); }
BENCHMARK(BM_DateTime_stringValue);

void BM_DateTime_stringValueLastForm(benchmark::State& state) { stringPath(state, DateTimeValueConverter(), kYear); }
BENCHMARK(BM_DateTime_stringValueLastForm);

void BM_DateEdition_parse(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(DateEdition::fromDescription("SHIFT(YY: 1, MM: 2, hh: -3)"));
}
BENCHMARK(BM_DateEdition_parse);

// ---------------------------------------------------------------------------------------------
// Coordinates

void BM_CoordinateParser_firstForm(benchmark::State& state) {
  const CoordinateParser parser;
  for (auto _ : state) benchmark::DoNotOptimize(parser.coordinate(kCoordinate));
}
BENCHMARK(BM_CoordinateParser_firstForm);

void BM_CoordinateParser_lastForm(benchmark::State& state) {
  const CoordinateParser parser;
  for (auto _ : state) benchmark::DoNotOptimize(parser.coordinate(kPostCoordinate));
}
BENCHMARK(BM_CoordinateParser_lastForm);

void BM_CoordinateWriter_preDDMMSSs(benchmark::State& state) {
  const CoordinateWriter writer;
  const Coordinate coordinate(48.8566, 2.3522);
  for (auto _ : state) benchmark::DoNotOptimize(writer.preDDMMSSs(coordinate));
}
BENCHMARK(BM_CoordinateWriter_preDDMMSSs);

// ---------------------------------------------------------------------------------------------
// Ratios

// Which reference each benchmark is judged against.
std::string referenceOf(const std::string& name) {
  if (name.rfind("BM_DateTime", 0) == 0 || name.rfind("BM_DateEdition", 0) == 0) return "BM_Reference_strptime";
  if (name.rfind("BM_CoordinateParser", 0) == 0) return "BM_Reference_precompiledRegex";
  return "BM_Reference_strtod";
}

// Prints the usual table, keeps each benchmark's time per iteration, and adds the ratios.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const auto& run : runs)
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) times_[run.benchmark_name()] = run.GetAdjustedRealTime();
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\nRatios to the reference of the same run (time per call / reference time per call):\n");
    for (const auto& [name, time] : times_) {
      if (name.rfind("BM_Reference", 0) == 0) continue;
      const auto reference = times_.find(referenceOf(name));
      if (reference == times_.end() || reference->second <= 0) continue;
      std::printf("  %-36s %10.1f x %s\n", name.c_str(), time / reference->second, reference->first.c_str() + 3);
    }
  }

 private:
  std::map<std::string, double> times_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
