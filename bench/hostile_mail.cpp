#include "bench/hostile_mail.h"

#include <fmt/format.h>

namespace keldane::bench {
namespace {

std::string repeat(const std::string& text, std::size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

const std::string kHead = "From: a@b.c\nTo: d@e.f\nDate: Mon, 2 Jan 2006 15:04:05 +0000\n";

std::string nested(std::size_t depth) {
  std::string text = kHead;
  for (std::size_t i = 0; i < depth; ++i) {
    text += fmt::format("Content-Type: multipart/mixed; boundary=b{}\n\n--b{}\n", i, i);
  }
  return text + "Content-Type: text/plain\n\nat the bottom\n";
}

std::string manyParts(std::size_t count) {
  return kHead + "Content-Type: multipart/mixed; boundary=b\n\n" +
         repeat("--b\nContent-Type: text/plain\n\npart\n", count) + "--b--\n";
}

std::string numberedParameters(std::size_t count) {
  std::string text = kHead + "Content-Type: application/octet-stream";
  for (std::size_t i = 0; i < count; ++i) text += fmt::format(";\n name*{}*=%41%42", i);
  text += "\nContent-Disposition: attachment";
  for (std::size_t i = 0; i < count; ++i) {
    text += fmt::format(";\n filename*{}=\"=?utf-8?Q?x?=\"", i);
  }
  return text + "\n\nbody\n";
}

std::vector<HostileMail> madeAt(std::size_t scale, const std::string& mark) {
  return {
      {"megabyte of header lines" + mark,
       kHead + repeat("X-Line: value of no use\n", 40000 * scale) + "\nbody\n"},
      {"one field folded into tiny lines" + mark,
       kHead + "X-Long: a\n" + repeat(" b\n", 300000 * scale) + "\nbody\n"},
      {"nested multiparts" + mark, nested(10000 * scale)},
      {"many parts" + mark, manyParts(30000 * scale)},
      {"near-boundaries" + mark,
       kHead + "Content-Type: multipart/mixed; boundary=\"--------------------\"\n\n" +
           repeat("---------------------\n", 45000 * scale)},
      {"one address field of a megabyte" + mark,
       "To: " + repeat("\"a, <b\" <x@y.z>, ", 60000 * scale) + "\n" + kHead + "\nbody\n"},
      {"open angle brackets" + mark, "From: " + repeat("<", 1000000 * scale) + "\n\nbody\n"},
      {"encoded words" + mark,
       "Subject: " + repeat("=?utf-8?B?QUJD?= ", 60000 * scale) + "\n" + kHead + "\nbody\n"},
      {"numbered parameters" + mark, numberedParameters(10000 * scale)},
      {"begin lines" + mark, kHead + "\n" + repeat("begin 644 x\n", 80000 * scale)},
      {"soft breaks" + mark,
       kHead + "Content-Transfer-Encoding: quoted-printable\n\n" + repeat("=\n", 500000 * scale)},
  };
}

}  // namespace

std::vector<HostileMail> hostileMail() {
  std::vector<HostileMail> all = madeAt(1, "");
  for (HostileMail& each : madeAt(2, ", twice the size")) all.push_back(std::move(each));
  return all;
}

}  // namespace keldane::bench
