#include "ingest/reading/mail_marks.h"

#include <string>

#include <gtest/gtest.h>

namespace keldane {
namespace {

TEST(MailMarks, AMaildirsFileIsDeletedByItsFlag) {
  for (const char* name : {"1.host:2,T", "1.host:2,FST", "1.host!2,ST", "1.T:2,S:2,T"}) {
    EXPECT_TRUE(isMarkedDeletedByName("/m/cur/" + std::string(name))) << name;
  }
  for (const char* name : {"1.host", "1.T", "1.hosT:2,", "1.host:2,S", "T:1,T"}) {
    EXPECT_FALSE(isMarkedDeletedByName("/T:2,T/cur/" + std::string(name))) << name;
  }
}

TEST(MailMarks, AMessageOfAnMboxIsDeletedByTheFieldsOfItsProgram) {
  const struct {
    const char* name;
    const char* header;
    bool isDeleted;
  } cases[] = {
      {"in front", "X-Account-Key: account1\nX-Mozilla-Status: 0009\nFrom: a\n", true},
      {"CR LF", "X-Mozilla-Status: 0008\r\nFrom: a\r\n", true},
      {"read, not deleted", "X-Mozilla-Status: 0011\nFrom: a\n", false},
      {"sent along", "Received: by x\nX-Mozilla-Status: 0009\n", false},
      {"status at the end", "From: a\nStatus: ROD\n", true},
      {"other status", "From: a\nX-Status: AD\n", true},
      {"a word of the sender", "From: a\nStatus: Delivered\nX-Status: DONE\n", false},
      {"sent along, then set", "Status: D\nReceived: by x\nStatus: RO\n", false},
      {"in a field's second line", "Subject: x\n Status: D\n", false},
      {"in the text", "From: a\n\nStatus: D\n", false},
      {"nothing", "", false},
  };
  for (const auto& row : cases)
    EXPECT_EQ(isMarkedDeletedInMbox(row.header), row.isDeleted) << row.name;
}

TEST(MailMarks, LabelsBecomeWords) {
  EXPECT_EQ(keywordsOfLabels("Inbox,Home office,\"a, b\",, Inbox,\xC3\x84"),
            "Inbox Home_office a,_b \xC3\x84");
  const std::string kept = keywordsOfLabels(std::string(120, 'a') + ",toolongforit,short");
  EXPECT_EQ(kept, std::string(120, 'a') + " short");
}

}  // namespace
}  // namespace keldane
