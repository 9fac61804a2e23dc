#include "making/WrapperDescription.h"
#include "platform/foundation/PropertyList.h"

#include <gtest/gtest.h>

namespace tesker {
namespace {

TEST(WrapperText, SaysWhatTheApplicationIsAndOpens) {
  EXPECT_EQ(textOf({.name = "Edit",
                    .program = "",
                    .icon = "Edit.tiff",
                    .types = {{{"txt", "md"}, "text.png"}, {{"log"}}},
                    .offersServices = true}),
            "{\n"
            "NSExecutable = Edit;\n"
            "NSIcon = Edit.tiff;\n"
            "NSTypes = ({NSExtensions = (txt, md); NSIcon = text.png; }, {NSExtensions = (log); "
            "});\n"
            "NSServices = ();\n"
            "}\n");
}

TEST(WrapperText, LeavesOutWhatThereIsNot) {
  EXPECT_EQ(textOf({.name = "Edit", .program = ""}), "{\nNSExecutable = Edit;\n}\n");
}

TEST(WrapperText, AHeaderHasTheSameToSay) {
  EXPECT_EQ(headerOf({.name = "Edit",
                      .program = "",
                      .icon = "Edit.tiff",
                      .types = {{{"txt", "md"}, "text.png"}, {{"log"}}}}),
            "F\tEdit\tEdit\tEdit.tiff\n"
            "S\ttxt\tEdit\ttext.png\n"
            "S\tmd\tEdit\ttext.png\n"
            "S\tlog\tEdit\n");
}

TEST(WrapperText, ReadsBackWhateverTheBytes) {
  const std::string name = "a \"b\" \\ \n\xff\xc3\xa4; }";
  const auto list = propertyList(textOf({.name = name, .program = ""}));
  EXPECT_EQ(list->asDictionary()->stringForKey("NSExecutable").bytes(), name);
}

} // namespace
} // namespace tesker
