#include "lzfse/fixtures.h"

#include <map>
#include <sstream>
#include <string_view>

#include "support/scratch_folder.h"

namespace tovrin {
namespace {

/// By the names of the columns.
using Row = std::map<std::string, std::string>;

std::vector<std::string> fieldsOf(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> fields;
  for (std::string field; std::getline(stream, field, '\t');) fields.push_back(field);
  return fields;
}

/// The rows of a table of tab-separated values with a heading.
std::vector<Row> rowsOf(const std::filesystem::path& table) {
  std::istringstream lines(readFile(table));
  std::string line;
  std::getline(lines, line);
  const std::vector<std::string> columns = fieldsOf(line);
  std::vector<Row> rows;
  while (std::getline(lines, line)) {
    const std::vector<std::string> fields = fieldsOf(line);
    Row row;
    for (std::size_t i = 0; i < columns.size(); ++i) row[columns[i]] = fields.at(i);
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
    const std::string& name = row.at("name");
    streams.push_back(
        {name, readFile(folder / name), std::stoul(row.at("decoded_bytes")), row.at("sha256_of_decoded")});
  }
  return streams;
}

std::vector<DamagedStream> damagedStreams(const std::filesystem::path& folder) {
  std::vector<DamagedStream> streams;
  for (const Row& row : rowsOf(folder / "EXPECTED.tsv")) {
    const std::string& name = row.at("name");
    DamagedStream stream{name, readFile(folder / name), outcomeNamed(row.at("expected_outcome")), std::nullopt};
    if (stream.outcome == DamagedStream::Outcome::valid) {
      stream.decoded =
          GoodStream{name, stream.stream, std::stoul(row.at("decoded_bytes")), row.at("sha256_of_decoded")};
      stream.unread = std::stoul(row.at("unread_bytes"));
    }
    streams.push_back(stream);
  }
  return streams;
}

std::filesystem::path goodStreamsFolder() { return std::filesystem::path(TOVRIN_TEST_DATA) / "lzfse"; }
std::filesystem::path damagedStreamsFolder() { return std::filesystem::path(TOVRIN_TEST_DATA) / "lzfse-bad"; }

}  // namespace tovrin
