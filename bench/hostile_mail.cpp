#include "bench/hostile_mail.h"

#include <fmt/format.h>

#include <string_view>

namespace keldane::bench {
namespace {

constexpr std::string_view kHead = "From: a@b.c\nTo: d@e.f\nDate: Mon, 2 Jan 2006 15:04:05 +0000\n";

/// The head, `before`, `unit` as often as it fits, and `after`.
std::string filled(std::size_t bytes, std::string_view before, std::string_view unit,
                   std::string_view after) {
  std::string text(kHead);
  text.reserve(bytes + unit.size());
  text += before;
  while (text.size() + unit.size() + after.size() <= bytes) text += unit;
  return text += after;
}

std::string withParts(std::size_t bytes, std::string_view part) {
  return filled(bytes, "Content-Type: multipart/mixed; boundary=b\n\n", part, "--b--\n");
}

std::string nested(std::size_t depth, const std::string& kind, std::size_t bytes) {
  std::string text(kHead);
  for (std::size_t i = 0; i < depth && text.size() < bytes; ++i) {
    text += fmt::format("Content-Type: multipart/{}; boundary=b{}\n\n--b{}\n", kind, i, i);
  }
  text += "Content-Type: text/plain\n\n";
  while (text.size() < bytes) text += "at the bottom\n";
  return text;
}

std::string numberedParameters(std::size_t bytes) {
  std::string text(kHead);
  text += "Content-Type: application/octet-stream";
  for (std::size_t i = 0; text.size() < bytes / 2; ++i) text += fmt::format(";\n name*{}*=%41", i);
  text += "\nContent-Disposition: attachment";
  for (std::size_t i = 0; text.size() < bytes; ++i) {
    text += fmt::format(";\n filename*{}=\"=?utf-8?Q?x?=\"", i);
  }
  return text + "\n\nbody\n";
}

std::string addresses(std::size_t bytes, std::string_view unit) {
  return filled(bytes, "Cc: ", unit, "\n\nbody\n");
}

}  // namespace

const std::vector<HostileMail>& hostileMail() {
  static const std::vector<HostileMail> all = {
      {"header lines",
       [](std::size_t n) { return filled(n, "", "X-Line: value of no use\n", "\nbody\n"); }},
      {"shortest header lines (a:)",
       [](std::size_t n) { return filled(n, "", "a:\n", "\nbody\n"); }},
      {"shortest header lines in many parts",
       [](std::size_t n) {
         std::string part = "--b\n";
         while (part.size() < 6000) part += "a:\n";
         return withParts(n, part + "\n");
       }},
      {"header lines without a colon",
       [](std::size_t n) { return filled(n, "", "a\n", "\nbody\n"); }},
      {"one field folded into tiny lines",
       [](std::size_t n) { return filled(n, "X-Long: a\n", " b\n", "\nbody\n"); }},
      {"parameters of a type (a=;)",
       [](std::size_t n) { return filled(n, "Content-Type: text/plain;", "a=;", "\n\nbody\n"); }},
      {"parameters of a type, in many parts",
       [](std::size_t n) {
         std::string part = "--b\nContent-Type: text/plain;";
         while (part.size() < 6000) part += "a=;";
         return withParts(n, part + "\n\nbody\n");
       }},
      {"quoted strings of a disposition (\"\")",
       [](std::size_t n) {
         return filled(n, "Content-Disposition: attachment;", "\"\"", "\n\nbody\n");
       }},
      {"numbered parameters", numberedParameters},
      {"nested multiparts", [](std::size_t n) { return nested(n, "mixed", n); }},
      {"nested signatures around a text", [](std::size_t n) { return nested(150, "signed", n); }},
      {"many parts",
       [](std::size_t n) { return withParts(n, "--b\nContent-Type: text/plain\n\npart\n"); }},
      {"shortest parts", [](std::size_t n) { return withParts(n, "--b\nxxxxx\n"); }},
      {"empty parts", [](std::size_t n) { return withParts(n, "--b\n\n"); }},
      {"near-boundaries",
       [](std::size_t n) {
         return filled(n, "Content-Type: multipart/mixed; boundary=\"--------------------\"\n\n",
                       "---------------------\n", "");
       }},
      {"one address field", [](std::size_t n) { return addresses(n, "\"a, <b\" <x@y.z>, "); }},
      {"shortest addresses (@,)", [](std::size_t n) { return addresses(n, "@,"); }},
      {"open angle brackets",
       [](std::size_t n) { return "From: " + std::string(n, '<') + "\n\nbody\n"; }},
      {"encoded words",
       [](std::size_t n) { return filled(n, "Subject: ", "=?utf-8?B?QUJD?= ", "\n\nbody\n"); }},
      {"encoded words that cannot be decoded",
       [](std::size_t n) { return filled(n, "Subject: ", "=?utf-16?Q?a?= ", "\n\nbody\n"); }},
      {"begin lines", [](std::size_t n) { return filled(n, "\n", "begin 644 x\n", ""); }},
      {"soft breaks",
       [](std::size_t n) {
         return filled(n, "Content-Transfer-Encoding: quoted-printable\n\n", "=\n", "");
       }},
      {"blank lines", [](std::size_t n) { return filled(n, "\n", "\n", ""); }},
      {"long lines", [](std::size_t n) { return filled(n, "\n", "x", ""); }},
      {"a text that grows in UTF-8",
       [](std::size_t n) {
         return filled(n,
                       "Content-Type: text/plain; charset=windows-1252\n"
                       "Content-Transfer-Encoding: base64\n\n",
                       "gICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICA\n",
                       "");
       }},
      {"an HTML text that grows in UTF-8",
       [](std::size_t n) {
         return filled(n,
                       "Content-Type: text/html; charset=windows-1252\n"
                       "Content-Transfer-Encoding: base64\n\n",
                       "gICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICA\n",
                       "");
       }},
      {"an attached text that grows in UTF-8",
       [](std::size_t n) {
         return filled(n,
                       "Content-Type: text/plain; charset=windows-1252; name=a\n"
                       "Content-Disposition: attachment\n"
                       "Content-Transfer-Encoding: base64\n\n",
                       "gICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICAgICA\n",
                       "");
       }},
  };
  return all;
}

}  // namespace keldane::bench
