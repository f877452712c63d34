#pragma once

#include <string>
#include <string_view>

#include "foundation/json/encoder.h"
#include "foundation/result.h"

namespace tovrin::cli {

/// An object that is being written, from construction to destruction.
class JSONObject {
 public:
  explicit JSONObject(JSONWriter& writer) : writer_(writer) { writer_.StartObject(); }
  ~JSONObject() { writer_.EndObject(); }
  JSONObject(const JSONObject&) = delete;
  JSONObject& operator=(const JSONObject&) = delete;

  /// An absent optional leaves the member out. Dates are written as in the shared files.
  template <class Value>
  void member(std::string_view name, const Value& value) const {
    if constexpr (requires { value.has_value(); }) {
      if (value.has_value()) member(name, *value);
    } else {
      key(name);
      writeJSON(writer_, value);
    }
  }

  /// `json` is one value, as it stands.
  void rawMember(std::string_view name, std::string_view json) const {
    key(name);
    writer_.RawValue(json.data(), json.size(), rapidjson::kObjectType);
  }

  /// The value is whatever `write` writes.
  template <class Write>
  void memberBy(std::string_view name, Write&& write) const {
    key(name);
    write();
  }

 private:
  void key(std::string_view name) const { writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size())); }

  JSONWriter& writer_;
};

template <class Elements, class Write>
void writeArray(JSONWriter& writer, const Elements& elements, Write&& write) {
  writer.StartArray();
  for (const auto& element : elements) write(element);
  writer.EndArray();
}

/// The one value that `write(writer)` writes.
template <class Write>
std::string jsonText(Write&& write) {
  rapidjson::StringBuffer buffer;
  JSONWriter writer(buffer);
  write(writer);
  return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace tovrin::cli
