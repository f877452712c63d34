#include "lzfse/fixtures.h"

#include <map>
#include <sstream>
#include <string_view>

#include "support/scratch_folder.h"

namespace tovrin {
namespace {

using Row = std::vector<std::string>;

/// The rows of a table of tab-separated values, without its heading.
std::vector<Row> rowsOf(const std::filesystem::path& table) {
  std::istringstream lines(readFile(table));
  std::string line;
  std::getline(lines, line);
  std::vector<Row> rows;
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    Row row;
    for (std::string field; std::getline(fields, field, '\t');) row.push_back(field);
    rows.push_back(row);
  }
  return rows;
}

DamagedStream::Outcome outcomeNamed(const std::string& name) {
  using enum DamagedStream::Outcome;
  static const std::map<std::string, DamagedStream::Outcome> kOutcomes{
      {"corrupt", corrupt}, {"truncated", truncated}, {"corrupt-or-truncated", either}, {"end", valid}, {"any", any}};
  return kOutcomes.at(name);
}

}  // namespace

std::vector<GoodStream> goodStreams(const std::filesystem::path& folder) {
  std::vector<GoodStream> streams;
  for (const Row& row : rowsOf(folder / "SHA256SUMS.tsv")) {
    streams.push_back({row.at(0), readFile(folder / row.at(0)), std::stoul(row.at(2)), row.at(3)});
  }
  return streams;
}

std::vector<DamagedStream> damagedStreams(const std::filesystem::path& folder) {
  std::vector<DamagedStream> streams;
  for (const Row& row : rowsOf(folder / "EXPECTED.tsv")) {
    DamagedStream stream{row.at(0), readFile(folder / row.at(0)), outcomeNamed(row.at(2)), std::nullopt};
    if (stream.outcome == DamagedStream::Outcome::valid) {
      stream.decoded = GoodStream{row.at(0), stream.stream, std::stoul(row.at(4)), row.at(6)};
      stream.unread = std::stoul(row.at(5));
    }
    streams.push_back(stream);
  }
  return streams;
}

std::filesystem::path goodStreamsFolder() { return std::filesystem::path(TOVRIN_TEST_DATA) / "lzfse"; }
std::filesystem::path damagedStreamsFolder() { return std::filesystem::path(TOVRIN_TEST_DATA) / "lzfse-bad"; }

}  // namespace tovrin
