// Broken texts, and where check says that they are.
#include "tests/command/CheckTest.h"

namespace tesker::test {
namespace {

struct BrokenText {
  const char *text;
  const char *said; // "LINE:COLUMN error WORD", with ", " between several
};

std::string withoutFile(std::string said) {
  std::string text;
  for (std::size_t start = 0; start < said.size();) {
    const std::size_t end = said.find('\n', start);
    const std::string line = said.substr(start, end - start);
    text += (text.empty() ? "" : ", ") + line.substr(line.find(':') + 1);
    start = end + 1;
  }
  return text;
}

class BrokenTextsTest : public CheckTest {
protected:
  template <std::size_t count>
  void expectAll(const BrokenText (&texts)[count], DescriptionKind kind) {
    for (const BrokenText &broken : texts) {
      directory_.writeFile("text", broken.text);
      EXPECT_EQ(withoutFile(said("text", kind)), broken.said) << broken.text;
    }
  }
};

constexpr BrokenText kHeaders[] = {
    {"F\tEdit\tEdit\n", "1:12 error malformed-header-line"},
    {"F\tEdit\n", "1:7 error malformed-header-line"},
    {"F\n", "1:2 error malformed-header-line"},
    {"f\ta\tb\tc\td\n", "1:9 error malformed-header-line"},
    {"F\ta\tb\tc\td\te\n", "1:9 error malformed-header-line"},
    {"S\ttxt\n", "1:6 error malformed-header-line"},
    {"S\n", "1:2 error malformed-header-line"},
    {"S\ttxt\tEdit\ticon\tmore\n", "1:17 error malformed-header-line"},
    {"Q\tx\n", "1:1 error malformed-header-line"},
    {"F Edit Edit icon\n", "1:1 error malformed-header-line"},
    {"\tF\ta\tb\tc\n", "1:1 error malformed-header-line"},
    {"F\ta\tb\tc\n\n\nX\n", "4:1 error malformed-header-line"},
    {"X\nY\n", "1:1 error malformed-header-line, 2:1 error malformed-header-line"},
    {"{ a = b }\n", "1:9 error malformed-header-line"},
    {"{ a }\n", "1:5 error malformed-header-line"},
    {"{ a b; }\n", "1:5 error malformed-header-line"},
    {"F\ta\tb\tc\n{ type = app;\n  name }\n", "3:8 error malformed-header-line"},
    {"{ type = app;\n  n\xe4me; }\n", "2:4 error malformed-header-line"},
    {"{ a = \"\xe4\xf6\" b; }\n", "1:12 error malformed-header-line"},
    {"{ = b; }\nF\ta\tb\tc\n", "1:3 error malformed-header-line"},
    {"{ a = { b = c; }; }\n", "1:16 error malformed-header-line"},
    {"{ type = app;\n", "1:1 error malformed-header-line"},
    {"S\ttxt\tA\n{", "2:1 error malformed-header-line"},
    {"{ a = b } X Y\nZ\n", "1:9 error malformed-header-line, 2:1 error malformed-header-line"},
    {"{ a = b; a = c; }\n", "1:3 warning repeated-key"},
    {"{ path = x; }\n", "1:3 warning ignored"},
    {"S\ttiff\tEdit\ticon\n", "1:13 warning ignored"},
    {"S\t.txt\tEdit\n", "1:3 warning odd-extension"},
    {"S\tTXT\tEdit\n", "1:3 warning odd-extension"},
    {"S\ttxt\tA\nS\ttxt\tB\n", "2:3 warning shadowed"},
};

TEST_F(BrokenTextsTest, HeadersAreToldWithTheirPlaces) {
  expectAll(kHeaders, DescriptionKind::header);
}

constexpr BrokenText kLists[] = {
    {"", "1:1 error malformed-list"},
    {"{ NSExecutable = Edit; ", "1:24 error malformed-list"},
    {"{\n  NSExecutable = Edit\n}\n", "3:1 error malformed-list"},
    {"{\n  NSExecutable Edit;\n}\n", "2:16 error malformed-list"},
    {"{ NSExecutable = Edit; } }", "1:26 error malformed-list"},
    {"NSExecutable = Edit;", "1:14 error malformed-list"},
    {"{ NSExecutable = \"Edit; }", "1:26 error malformed-list"},
    {"{ NSTypes = ( { NSExtensions = (txt text); } ); }", "1:37 error malformed-list"},
    {"{ NSData = <0g>; }", "1:14 error malformed-list"},
    {"{ NSData = <0>; }", "1:15 error malformed-list"},
    {"{ /* NSExecutable = Edit; }", "1:3 error malformed-list"},
    {"( NSExecutable, Edit )", "1:1 error wrong-kind"},
    {"\n\n Edit\n", "3:2 error wrong-kind"},
    {"{ NSExecutable = E; NSTypes = { a = b; }; }", "1:31 error wrong-kind"},
    {"{ NSExecutable = E;\n NSTypes = txt; }", "2:12 error wrong-kind"},
    {"{ NSExecutable = E; NSExtensions = txt; }", "1:36 error wrong-kind"},
    {"{ NSExecutable = E; NSServices = { }; }", "1:34 error wrong-kind"},
    {"{ NSExecutable = (E); }", "1:18 warning wrong-kind"},
    {"{ NSExecutable = E; NSIcon = { }; }", "1:30 warning wrong-kind"},
    {"{ NSExecutable = E; NSTypes = (bad); }", "1:32 error types-cut-short"},
    {"{ NSExecutable = E; NSTypes = ( { } ); }", "1:33 error types-cut-short"},
    {"{ NSExecutable = E; NSTypes = ( { NSExtensions = txt; } ); }", "1:33 error types-cut-short"},
    {"{ NSExecutable = E; NSTypes = ( { NSExtensions = ((a), b); } ); }", "1:51 error wrong-kind"},
    {"{ NSExecutable = E; NSTypes = ( { NSExtensions = (a); NSIcon = (b); } ); }",
     "1:64 error wrong-kind"},
    {"{ NSExecutable = E; NSTypes = ( { NSExtensions = (a); NSIcn = b; } ); }",
     "1:55 warning unknown-key"},
    {"{ NSExecutble = E; }", "1:3 warning unknown-key"},
    {"{ }", "1:1 warning missing-key"},
    {"{ NSExecutable = E; NSVersion = 1; }", "1:21 warning ignored"},
    {"{ NSExecutable = E;\n NSExecutable = F; }", "1:3 warning repeated-key"},
    {"{ NSExecutable = E; NSTypes = ( ); NSExtensions = { }; }", "1:36 warning ignored"},
    {"{ NSExecutable = E; NSExtensions = { txt = page; }; }", "1:44 warning ignored"},
    {"{ NSExecutable = E; NSTypes = ( { NSExtensions = (\".a\", b.c,\n B, b, b); } ); }",
     "1:51 warning odd-extension, 1:57 warning odd-extension, 2:2 warning odd-extension, "
     "2:8 warning shadowed"},
};

TEST_F(BrokenTextsTest, ListsAreToldWithTheirPlaces) { expectAll(kLists, DescriptionKind::list); }

constexpr BrokenText kRegistries[] = {
    {"{ NSDocumentTypes = ( ); }", "1:21 error wrong-kind"},
    {"{ NSNodeInspectors = { }; }", "1:22 error wrong-kind"},
    {"{ NSNodeInspectors = ( { a = b; }, bad ); }", "1:36 error wrong-kind"},
    {"{ NSDocumentTypes = { txt = { NSImageName = (a); }; }; }", "1:45 error wrong-kind"},
    {"{ NSDocumentTypes = { txt = { NSImageNam = a; }; }; }", "1:31 warning unknown-key"},
    {"{ NSDocumentType = { }; }", "1:3 warning unknown-key"},
    {"{ NSDocumentTypes = { txt; }; }", "1:26 error malformed-list"},
};

TEST_F(BrokenTextsTest, RegistriesAreToldWithTheirPlaces) {
  expectAll(kRegistries, DescriptionKind::registry);
}

constexpr BrokenText kUnobjectionable[] = {
    {"F\tEdit\tEdit\tedit\nS\ttxt\tEdit\ttext\nS\trtf\tEdit\n{ type = app; name = x; }\n", ""},
    {"F\ta\tb\tc", ""},
    {"f\ta\t\tb\tc\t\t\n\n", ""},
};

TEST_F(BrokenTextsTest, NothingIsSaidOfWhatIsAsItShouldBe) {
  expectAll(kUnobjectionable, DescriptionKind::header);
  directory_.writeFile("text", "{ NSExecutable = Edit; NSIcon = Edit; NSServices = ();\n"
                               "  NSTypes = ( { NSExtensions = (txt); NSIcon = text; } ); }\n");
  EXPECT_EQ(said("text"), "");
  directory_.writeFile("text", "{ NSDocumentTypes = { mbox = { NSImageName = mail; }; };\n"
                               "  NSNodeInspectors = ( { name = x; } ); }\n");
  EXPECT_EQ(said("text"), "");
}

} // namespace
} // namespace tesker::test
