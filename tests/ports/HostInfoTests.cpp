#include "platform/ports/HostInfo.h"
#include "tests/support/LogCapture.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class HostInfo : public ::testing::Test {
protected:
  HostInfo() { ::unsetenv("TESKER_HOST_CPU"); }
  ~HostInfo() override { ::unsetenv("TESKER_HOST_CPU"); }

  static HostProcessor ask() {
    host_basic_info info{};
    EXPECT_EQ(host_info(host_self(), HOST_BASIC_INFO, info, HOST_BASIC_INFO_COUNT), 0);
    return {info.cpu_type, info.cpu_subtype};
  }
  static HostProcessor askWith(const char *cpu) {
    ::setenv("TESKER_HOST_CPU", cpu, 1);
    return ask();
  }
  LogCapture log_;
};

constexpr HostProcessor kMachine =
#if defined(__i386__) || defined(__x86_64__)
    {7, 3};
#elif defined(__arm__) || defined(__aarch64__)
    {12, 0};
#elif defined(__powerpc__)
    {18, 0};
#else
    {-1, -1};
#endif

TEST_F(HostInfo, TellsTheFamilyOfTheMachine) { EXPECT_EQ(ask(), kMachine); }

TEST_F(HostInfo, CountsFiveWords) {
  EXPECT_EQ(sizeof(host_basic_info), HOST_BASIC_INFO_COUNT * sizeof(std::int32_t));
}

TEST_F(HostInfo, RefusesOtherHostsFlavoursAndShorterCounts) {
  host_basic_info info{1, 2, 3, 4, 5};
  EXPECT_NE(host_info(host_self() + 1, HOST_BASIC_INFO, info, HOST_BASIC_INFO_COUNT), 0);
  EXPECT_NE(host_info(host_self(), HOST_BASIC_INFO + 1, info, HOST_BASIC_INFO_COUNT), 0);
  EXPECT_NE(host_info(host_self(), HOST_BASIC_INFO, info, HOST_BASIC_INFO_COUNT - 1), 0);
  EXPECT_EQ(info.cpu_type, 4);
  EXPECT_EQ(info.cpu_subtype, 5);
}

TEST_F(HostInfo, IsOverriddenByAName) {
  EXPECT_EQ(askWith("i386"), (HostProcessor{7, 3}));
  EXPECT_EQ(askWith("m68k"), (HostProcessor{6, 1}));
  EXPECT_EQ(askWith("sparc"), (HostProcessor{14, 0}));
  EXPECT_EQ(askWith("hppa"), (HostProcessor{11, 0}));
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(HostInfo, IsOverriddenByTypeAndSubtype) {
  EXPECT_EQ(askWith("18/9"), (HostProcessor{18, 9}));
  EXPECT_EQ(askWith("-1/-2147483648"), (HostProcessor{-1, -2147483647 - 1}));
  EXPECT_EQ(askWith("2147483647/0"), (HostProcessor{2147483647, 0}));
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(HostInfo, TakesAnEmptyOverrideForNone) {
  EXPECT_EQ(askWith(""), kMachine);
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(HostInfo, LogsAnOverrideThatItDoesNotKnowAndUsesTheMachine) {
  EXPECT_EQ(askWith("abacus"), kMachine);
  EXPECT_THAT(log_.syslogged,
              ElementsAre("Tool: TESKER_HOST_CPU names no known processor: abacus"));
}

TEST(ProcessorFromText, RefusesWhatIsNoProcessor) {
  for (const char *text : {"", "I386", "i386 ", "7", "7/", "/3", "7/3/", "7/3 ", " 7/3", "+7/3",
                           "0x7/3", "2147483648/0", "7/-2147483649", "7.0/3", "7//3"})
    EXPECT_EQ(processorFromText(text), std::nullopt) << text;
  EXPECT_EQ(processorFromText(std::string_view("7/3\0", 4)), std::nullopt);
}

TEST(ProcessorFromText, KnowsEveryKnownName) {
  for (const QXArchInfo &info : knownProcessors())
    EXPECT_EQ(processorFromText(info.name), (HostProcessor{info.cputype, info.cpusubtype}))
        << info.name;
}

TEST(KnownProcessors, NumberTheX86ModelsAsFilesDo) {
  std::vector<std::pair<std::string_view, cpu_subtype_t>> models;
  for (const QXArchInfo &info : knownProcessors())
    if (info.cputype == 7)
      models.emplace_back(info.name, info.cpusubtype);
  EXPECT_THAT(models,
              ElementsAre(std::pair("i386", 3), std::pair("i486", 4), std::pair("i486SX", 132),
                          std::pair("i586", 5), std::pair("i586SX", 133), std::pair("pentpro", 22),
                          std::pair("pentIIm3", 54), std::pair("pentIIm5", 86),
                          std::pair("pentium4", 10)));
}

TEST(KnownProcessors, HaveUniqueNamesNumbersAndDescriptionsWithoutSeparators) {
  std::set<std::string_view> names;
  std::set<std::string_view> descriptions;
  std::set<std::pair<cpu_type_t, cpu_subtype_t>> numbers;
  for (const QXArchInfo &info : knownProcessors()) {
    EXPECT_TRUE(names.insert(info.name).second) << info.name;
    EXPECT_TRUE(descriptions.insert(info.description).second) << info.description;
    EXPECT_TRUE(numbers.insert({info.cputype, info.cpusubtype}).second) << info.name;
    EXPECT_EQ(info.description.find(','), std::string_view::npos) << info.description;
  }
}

TEST(KnownProcessors, CoverEveryFamilyOfTheFormat) {
  std::set<cpu_type_t> families;
  for (const QXArchInfo &info : knownProcessors())
    families.insert(info.cputype);
  EXPECT_THAT(families, ElementsAre(1, 6, 7, 8, 10, 11, 12, 13, 14, 15, 18, 0x01000007, 0x0100000c,
                                    0x01000012));
}

} // namespace
} // namespace tesker::test
