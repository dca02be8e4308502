#include "ingest/reading/foreign_file.h"

#include <string>

#include <gtest/gtest.h>

namespace keldane {
namespace {

using namespace std::string_literals;

TEST(ForeignFile, IsNamedByItsFirstBytes) {
  const std::string tarHeader = "a.eml" + std::string(252, '\0') + "ustar\0"s;
  const struct {
    std::string bytes;
    const char* path;
    const char* kind;
  } cases[] = {
      {"\x1F\x8B\x08", "x.gz", "gzip archive"},
      {"PK\x03\x04", "x.mbox", "zip archive"},
      {"PK\x03\x04", "Mail.OLM",
       "Outlook for Mac archive: drag the folders out of Outlook, which makes mbox files"},
      {tarHeader, "x", "tar archive"},
      {"a.eml\0\0"s, "x.tar", "tar archive"},
      {"BZh91AY", "x", "bzip2 archive"},
      {"\xFD" + "7zXZ\0"s, "x", "xz archive"},
      {"\x28\xB5\x2F\xFD", "x", "zstd archive"},
      {"%PDF-1.4\n", "x.eml", "PDF document"},
      {"!BDN\x01", "x.pst",
       "Outlook data file: readpst (package pst-utils) makes mbox files of it"},
      {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", "x.msg",
       "Outlook message: msgconvert (package libemail-outlook-message-perl) makes .eml of it"},
      {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", "x.doc", "Office document"},
      {"// <!-- <mdb:mork:z", "/m/Inbox.msf", "index of a mail program"},
      {"unseen: 1-3\n", "/m/inbox/.mh_sequences", "sequences of an MH folder"},
      {"", "/m/Maildir/.Sent/maildirfolder", "mark of a Maildir folder"},
      {"\0\0\0\1"s, "/m/.index/position.glass", "index of a mail program"},
      {"3 V1 N3\n", "/m/Maildir/dovecot-uidlist", "index of a mail server"},
  };
  for (const auto& row : cases) EXPECT_EQ(foreignKind(row.bytes, row.path), row.kind) << row.path;
}

TEST(ForeignFile, WhatMayBeMailIsNot) {
  for (const std::string& bytes : {""s, "From a\n"s, "123\nFrom: a@b.c\n"s, "\0\0"s, "PK"s,
                                   "From: a@b.c\nSubject: "s + std::string(240, 'x') + "ustar"s}) {
    EXPECT_FALSE(foreignKind(bytes, "x.mbox")) << bytes;
  }
  EXPECT_FALSE(foreignKind("From a\n", "x.tar"));
  EXPECT_FALSE(foreignKind("From a\n", "/m/subscriptions"));
  EXPECT_FALSE(foreignKind("1\n", "/m/.index"));
}

}  // namespace
}  // namespace keldane
