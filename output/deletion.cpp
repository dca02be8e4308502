#include "output/deletion.h"

#include <fmt/format.h>

#include "archive/message_rows.h"

namespace keldane {
namespace {

template <typename Delete>
DeletionReport deleteEach(const OutputContext& context, const MessageList& list,
                          const Delete& deleteOne) {
  DeletionReport result;
  const Result<OutputReport> walked =
      carryEach(context, list, [&](std::size_t index, OutputReport&) -> Result<void> {
        if (!deleteOne(list.id(index))) return Failure{"SQL error: " + context.session.error()};
        ++result.messages;
        return {};
      });
  if (walked) {
    result.cancelled = walked->cancelled;
  } else {
    result.error = walked.error();
  }
  return result;
}

}  // namespace

DeletionReport deleteMessages(const OutputContext& context, const MessageList& list,
                              const std::function<void(std::uint32_t id)>& forget) {
  return deleteEach(context, list, [&](std::uint32_t id) {
    const bool isGone = deleteMessageRows(context.session, id);
    if (isGone && forget) forget(id);
    return isGone;
  });
}

DeletionReport deleteAttachments(const OutputContext& context, const MessageList& list) {
  return deleteEach(context, list, [&context](std::uint32_t id) {
    return context.session.query(fmt::format(
               "DELETE FROM attachments WHERE id={} AND filename_fld NOT LIKE '%html'", id)) &&
           context.session.query(fmt::format(
               "UPDATE email SET numAttach=0,attachNames='',attachText='' WHERE id={}", id));
  });
}

}  // namespace keldane
