#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace keldane::mime {

/// A named case: what is given, and what comes of it.
struct TextRow {
  const char* name;
  std::string in;
  std::string out;
};

/// Texts of mails for tests, CR LF throughout.

inline std::string withCrLf(const std::string& lines) {
  std::string out;
  for (const char c : lines) out += c == '\n' ? "\r\n" : std::string(1, c);
  return out;
}

/// An entity: its header lines, each ending in LF, then its body, in which LF is a line end too.
inline std::string entity(const std::string& headerLines, const std::string& body) {
  return withCrLf(headerLines + "\n" + body);
}

/// A part of a type, with further header lines if wanted.
inline std::string part(const std::string& type, const std::string& body,
                        const std::string& moreLines = "") {
  return entity("Content-Type: " + type + "\n" + moreLines, body);
}

/// A multipart of a subtype. The boundary is named after it, so one subtype nests in another only.
inline std::string multi(const std::string& subtype, const std::vector<std::string>& parts,
                         const std::string& moreLines = "") {
  const std::string boundary = "=-" + subtype + std::to_string(parts.size());
  std::string out = entity(
      "Content-Type: multipart/" + subtype + "; boundary=\"" + boundary + "\"\n" + moreLines, "");
  for (const std::string& each : parts) out += "--" + boundary + "\r\n" + each + "\r\n";
  return out + "--" + boundary + "--\r\n";
}

/// A whole mail: the usual header lines in front of an entity.
inline std::string mail(const std::string& entityText) {
  return withCrLf("From: a@b.c\nTo: d@e.f\nDate: Mon, 2 Jan 2006 15:04:05 -0700\nSubject: s\n") +
         entityText;
}

inline const std::string kPlain = part("text/plain", "plain");
inline const std::string kHtml = part("text/html", "<p>html");

inline std::string repeated(std::string_view unit, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) all += unit;
  return all;
}

/// All byte values, several times over, so that every group and line position meets every byte.
inline std::string allBytes() {
  std::string bytes;
  for (int i = 0; i < 1024; ++i) bytes += static_cast<char>(i * 7 + i / 256);
  return bytes;
}

/// Stands for an answer that was not given.
inline const std::string kNone = "(none)";

}  // namespace keldane::mime
