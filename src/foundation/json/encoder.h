#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <concepts>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "foundation/date.h"
#include "foundation/json/coding.h"
#include "foundation/text_arena.h"

namespace tovrin {

using JSONWriter = rapidjson::Writer<rapidjson::StringBuffer>;

/// Writes a record by its RecordCoding, in the order of its fields; absent optional fields are left out.
template <class Value>
void writeJSON(JSONWriter& writer, const Value& value) {
  if constexpr (std::same_as<Value, bool>) {
    writer.Bool(value);
  } else if constexpr (std::same_as<Value, double>) {
    writer.Double(value);
  } else if constexpr (std::same_as<Value, Date>) {
    const std::string text = formatISO8601(value);
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  } else if constexpr (std::is_enum_v<Value>) {
    const std::string_view text = jsonCase(value);
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  } else if constexpr (std::signed_integral<Value>) {
    writer.Int64(value);
  } else if constexpr (std::unsigned_integral<Value>) {
    writer.Uint64(value);
  } else if constexpr (std::convertible_to<Value, std::string_view>) {
    const std::string_view text = value;
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  } else if constexpr (requires { RecordCoding<Value>::fields; }) {
    writer.StartObject();
    forEachField<Value>([&](const auto& item) {
      const auto& member = item.of(value);
      const auto put = [&](const auto& present) {
        writer.Key(item.key.data(), static_cast<rapidjson::SizeType>(item.key.size()));
        writeJSON(writer, present);
      };
      if constexpr (requires { member.has_value(); }) {
        if (member.has_value()) put(*member);
      } else {
        put(member);
      }
    });
    writer.EndObject();
  } else if constexpr (requires { typename Value::mapped_type; }) {
    writer.StartObject();
    for (const auto& [key, element] : value) {
      writer.Key(key.data(), static_cast<rapidjson::SizeType>(key.size()));
      writeJSON(writer, element);
    }
    writer.EndObject();
  } else {
    writer.StartArray();
    for (const auto& element : value) writeJSON(writer, element);
    writer.EndArray();
  }
}

template <class Value>
std::string encodeJSON(const Value& value) {
  rapidjson::StringBuffer buffer;
  JSONWriter writer(buffer);
  writeJSON(writer, value);
  return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace tovrin
