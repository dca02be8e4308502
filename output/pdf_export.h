#pragma once

#include <functional>
#include <string>

#include "output/export_frame.h"

namespace keldane {

/// Lays a message out as the pages of a PDF, and answers its bytes: the fields above its text, and
/// no action but links.
using PdfLayout = std::function<Result<std::string>(const ListedMessage& message)>;

/// Writes the messages as one PDF, each with an entry in its list of contents, pages that are
/// numbered, and its attachments embedded. One message at a time is in memory.
[[nodiscard]] Result<OutputReport> exportPdf(const OutputContext& context, const MessageList& list,
                                             const PdfLayout& layOut, const std::string& path);

/// The same as one PDF a message in a folder, which is made when it is missing, named by date,
/// sender, subject and id. What is exported into it again replaces its file. After a failure and
/// after a cancel the files written before it stay.
[[nodiscard]] Result<OutputReport> exportPdfFolder(const OutputContext& context,
                                                   const MessageList& list, const PdfLayout& layOut,
                                                   const std::string& folder);

/// Whether a path given by a user names a folder: it is one, or ends with "/".
[[nodiscard]] bool namesFolder(const std::string& path);

}  // namespace keldane
