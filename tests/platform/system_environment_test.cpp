#include "platform/system_environment.h"

#include <cstdlib>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

namespace keldane {
namespace {

TEST(SystemEnvironment, NamesNothingTwice) {
  SystemEnvironment one(0, nullptr);
  SystemEnvironment other(0, nullptr);
  const std::string first = one.uniqueString();
  EXPECT_NE(first, one.uniqueString());
  EXPECT_NE(first, other.uniqueString());
  EXPECT_EQ(first.find('/'), std::string::npos);
}

TEST(SystemEnvironment, KnowsTheHomeFolderWithoutTheVariable) {
  const std::string before = SystemEnvironment(0, nullptr).variable("HOME").value_or("");
  const SystemEnvironment environment(0, nullptr);
  for (const char* value : {"/some/where", "", "relative", static_cast<const char*>(nullptr)}) {
    if (value == nullptr) {
      ::unsetenv("HOME");
    } else {
      ::setenv("HOME", value, 1);
    }
    const std::string home = environment.variable("HOME").value_or("/none");
    const bool usable = value != nullptr && *value == '/';
    EXPECT_EQ(home == "/some/where", usable) << home;
    EXPECT_EQ(home.front(), '/') << home;
  }
  ::setenv("HOME", before.c_str(), 1);
}

TEST(SystemEnvironment, FindsTheVersionInTheSystemsFiles) {
  EXPECT_EQ(macVersionFrom("<dict>\n<key>ProductUserVisibleVersion</key>\n\t<string>14.1</string>"
                           "<key>ProductVersion</key><string>9</string>"),
            "14.1");
  EXPECT_EQ(macVersionFrom("<dict><key>ProductVersion</key><string>9</string></dict>"), "");
  EXPECT_EQ(linuxVersionFrom("NAME=\"X\"\nVERSION_ID=\"12\"\n"), "12");
  EXPECT_EQ(linuxVersionFrom("VERSION_ID=rolling\r\n"), "rolling");
  EXPECT_EQ(linuxVersionFrom("MY_VERSION_ID=1\n"), "");
}

TEST(LocalDateTime, FollowsTheTimeZone) {
  for (const auto& [zone, shown] :
       {std::pair("UTC-2", "2023-11-15 00:13:20"), {"UTC", "2023-11-14 22:13:20"}}) {
    ::setenv("TZ", zone, 1);
    ::tzset();
    EXPECT_EQ(localDateTime(1700000000), shown);
  }
}

}  // namespace
}  // namespace keldane
