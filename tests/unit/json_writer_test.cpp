#include "tools/json_writer.h"

#include "tests/unit/test_support.h"

namespace tagsmith::test {
namespace {

TEST(JsonWriter, WritesNestedValues) {
  JsonWriter json;
  json.BeginObject();
  json.Key("a");
  json.BeginArray();
  json.Integer(-1);
  json.Bool(true);
  json.BeginObject();
  json.EndObject();
  json.EndArray();
  json.Key("b");
  json.Null();
  json.EndObject();
  EXPECT_EQ(json.Result(), R"({"a": [-1, true, {}], "b": null})");
}

TEST(JsonWriter, EncodesText) {
  JsonWriter json;
  json.BeginArray();
  json.Text(u"q\" b\\ \n\x1F é 𝄞 \xD834 x \xDD1E");
  json.Latin1("\xE9\x80");
  json.Utf8("é");
  json.Utf8("\xE9 and \xC3\xA9");
  json.EndArray();
  EXPECT_EQ(json.Result(),
            "[\"q\\\" b\\\\ \\u000a\\u001f é 𝄞 \\ud834 x \\udd1e\", \"é\u0080\", "
            "\"é\", \"é and Ã©\"]");
}

}  // namespace
}  // namespace tagsmith::test
