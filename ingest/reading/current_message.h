#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "archive/source_origin.h"

namespace keldane {

/// One part of a message that becomes a row of `attachments`.
struct MessagePart {
  std::string contentType;
  std::string fileName;
  std::string data;
};

/// Tags of the message at hand: those of its file's property list, and what the rules add.
struct MessageTags {
  std::string tagCategory;
  std::string tagKeywords;
  std::string tagKeywordsFromFile;
  std::string tagPriority;
  std::string tagNotes;

  [[nodiscard]] bool any() const {
    return !tagCategory.empty() || !tagKeywords.empty() || !tagNotes.empty() ||
           !tagPriority.empty();
  }
};

/// The message at hand, refilled for each message by the reader and read by the rules and the
/// store. Belongs to the worker thread of a run.
struct CurrentMessage {
  std::string msgDate;  ///< "YYYY-MM-DD HH:MM:SS", local time
  std::string msgFrom;
  std::string msgTo;  ///< To, then Cc, joined by ","
  std::string msgSubject;
  std::string msgMailto;
  std::string msgMailbox;
  std::string msgBody;      ///< empty when the HTML part is the body; see `body`
  std::string msgOriginal;  ///< the whole source, line ends "\n", property list still on it
  std::string msgHeadings;
  std::string msgAttachNames;
  std::string msgAttachText;
  std::vector<MessagePart> msgParts;
  bool hasHtmlPart = false;     ///< the first of `msgParts`
  bool bodyIsHtmlPart = false;  ///< there is no plain text
  bool bodyIsTrimmed = false;   ///< `body` is without white space at its ends
  MessageTags tags;
  SourceOrigin origin;        ///< of `msgOriginal`
  std::string contentSha256;  ///< see archive/content_digest.h; empty when it is not known
  std::string currentPath;    ///< file being read, for the lines of the log

  /// What is searched, compared and stored as the body. HTML that is body and part is held once.
  [[nodiscard]] std::string_view body() const;

  /// The number that its row tells: of so many parts all but the HTML version.
  [[nodiscard]] int attachmentCount(int partCount) const {
    return partCount > 0 && hasHtmlPart ? partCount - 1 : partCount;
  }

  /// Empties what the reader refills for each message. Mailbox, origin and path stay, and so does
  /// `msgMailto`, which only an export fills.
  void clearForNextMessage();
};

}  // namespace keldane
