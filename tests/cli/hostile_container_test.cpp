#include "cli/command_fixture.h"

namespace tovrin {
namespace {

std::string repeated(std::string_view text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

std::string manifestWith(const std::string& members) {
  ManifestSpec warp;
  warp.rawMembers = members;
  return manifestJSON(warp);
}

/// Whatever lies in the container, the command ends, says something that is text, and shows the Warp that is good.
class HostileContainer : public Command, public ::testing::WithParamInterface<const char*> {
 protected:
  static std::string manifest(std::string_view kind) {
    if (kind == "deepArrays") return repeated("[", 100000);
    if (kind == "deepUnknownKey") return manifestWith("\"x\":" + repeated("[", 2000) + repeated("]", 2000));
    if (kind == "deepObjects") return repeated("{\"a\":", 100000);
    if (kind == "hugeString") return manifestWith("\"failureDescription\":\"" + repeated("x", 4 << 20) + "\"");
    if (kind == "hugeName") return manifestWith("\"displayName\":\"" + repeated("é/", 1 << 20) + "\"");
    if (kind == "hugeNumber") return manifestWith("\"version\":" + repeated("9", 1 << 20));
    if (kind == "duplicateKeys") return manifestWith(repeated("\"warpID\":\"other\",", 100000) + "\"x\":1");
    if (kind == "invalidUTF8") return manifestWith("\"displayName\":\"a\xff\xfe\x80\"");
    if (kind == "overlongUTF8") return manifestWith("\"displayName\":\"\xc0\xaf\"");
    if (kind == "loneSurrogate") return manifestWith("\"displayName\":\"\\ud800\"");
    if (kind == "zeroBytes") return std::string(1 << 20, '\0');
    if (kind == "empty") return "";
    if (kind == "null") return "null";
    return "[]";
  }

  void SetUp() override {
    installPhotos();
    installConnection(platform_, "127.0.0.1:1", "x");
    writeFile(warp() / "ManifestMirror/hostile.json", manifest(GetParam()));
  }

  static void expectText(const Ended& ended) {
    EXPECT_GE(ended.status, 0) << "ended by a signal";
    EXPECT_LE(ended.status, 1);
    for (const std::string& text : {ended.out, ended.err}) {
      EXPECT_EQ(text.find('\x1b'), std::string::npos);
      EXPECT_EQ(text.find('\0'), std::string::npos);
    }
  }
};

TEST_P(HostileContainer, doesNotStopLs) {
  const Ended ended = run({"ls", "-l", "-R", "/"});
  expectText(ended);
  EXPECT_EQ(ended.status, 0);
  EXPECT_NE(ended.out.find("a.jpg"), std::string::npos);
}

TEST_P(HostileContainer, doesNotStopDoctor) {
  expectText(run({"doctor"}));
  const Ended json = run({"doctor", "--json"});
  EXPECT_TRUE(parsed(json.out).IsObject());
}

TEST_P(HostileContainer, doesNotStopStatus) {
  const Ended ended = run({"status", "--json"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_TRUE(parsed(ended.out).IsObject());
}

TEST_P(HostileContainer, doesNotStopInspect) {
  const Ended ended = run({"inspect", "manifest", (warp() / "ManifestMirror/hostile.json").string()});
  expectText(ended);
  EXPECT_EQ(ended.out.empty(), ended.status == 1);
  parsed(ended.status == 0 ? ended.out : ended.err);
  EXPECT_TRUE(parsed(run({"inspect", "visible"}).out).IsArray());
}

TEST_P(HostileContainer, doesNotStopReadersOfTheOtherFiles) {
  for (const char* name :
       {"file-provider-cached-items.json", "destroyed-manifest-index.json", "manifest-visibility-index.json",
        "file-provider-materialization-state.json", "renterd-connection.json"}) {
    writeFile(warp() / name, manifest(GetParam()));
  }
  expectText(run({"doctor"}));
  expectText(run({"status"}));
  expectText(run({"inspect", "journal"}));
  expectText(run({"inspect", "tombstones"}));
  expectText(run({"fetch", "--json", kPhotos + "/notes"}));
  EXPECT_EQ(run({"ls", kPhotos}).status, 0);
}

INSTANTIATE_TEST_SUITE_P(Manifest, HostileContainer,
                         ::testing::Values("deepArrays", "deepUnknownKey", "deepObjects", "hugeString", "hugeName",
                                           "hugeNumber", "duplicateKeys", "invalidUTF8", "overlongUTF8",
                                           "loneSurrogate", "zeroBytes", "empty", "null", "array"),
                         [](const auto& kind) { return std::string(kind.param); });

}  // namespace
}  // namespace tovrin
