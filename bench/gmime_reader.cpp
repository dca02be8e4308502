#include "bench/gmime_reader.h"

#include <gmime/gmime.h>

namespace keldane::bench {
namespace {

std::string ownText(char* text) {
  std::string copy = text != nullptr ? text : "";
  g_free(text);
  return copy;
}

std::vector<std::string> addressesOf(InternetAddressList* list) {
  std::vector<std::string> addresses;
  const int count = list != nullptr ? internet_address_list_length(list) : 0;
  for (int i = 0; i < count; ++i) {
    InternetAddress* each = internet_address_list_get_address(list, i);
    if (INTERNET_ADDRESS_IS_GROUP(each)) {
      const auto members =
          addressesOf(internet_address_group_get_members(INTERNET_ADDRESS_GROUP(each)));
      addresses.insert(addresses.end(), members.begin(), members.end());
    } else if (INTERNET_ADDRESS_IS_MAILBOX(each)) {
      const char* address = internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(each));
      addresses.emplace_back(address != nullptr ? address : "");
    }
  }
  return addresses;
}

std::string decodedContent(GMimePart* part) {
  std::string data;
  GMimeDataWrapper* content = g_mime_part_get_content(part);
  if (content == nullptr) return data;
  GMimeStream* memory = g_mime_stream_mem_new();
  g_mime_data_wrapper_write_to_stream(content, memory);
  GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(memory));
  data.assign(reinterpret_cast<const char*>(bytes->data), bytes->len);
  g_object_unref(memory);
  return data;
}

void readLeaf(GMimeObject* object, PeerMessage& message) {
  GMimePart* part = GMIME_PART(object);
  const char* disposition = g_mime_object_get_disposition(object);
  const bool attached =
      disposition != nullptr && g_ascii_strcasecmp(disposition, "attachment") == 0;
  GMimeContentType* type = g_mime_object_get_content_type(object);
  if (GMIME_IS_TEXT_PART(object) && !attached) {
    const std::string text = ownText(g_mime_text_part_get_text(GMIME_TEXT_PART(object)));
    message.decodedBytes += text.size();
    const bool isHtml = g_mime_content_type_is_type(type, "text", "html");
    std::string& place = isHtml ? message.html : message.plain;
    if (place.empty()) place = text;
    return;
  }
  PeerItem item;
  item.data = decodedContent(part);
  message.decodedBytes += item.data.size();
  const char* name = g_mime_part_get_filename(part);
  item.name = name != nullptr ? name : "";
  item.type = ownText(g_mime_content_type_get_mime_type(type));
  message.attachments.push_back(std::move(item));
}

void onPart(GMimeObject*, GMimeObject* part, gpointer data) {
  if (GMIME_IS_PART(part)) readLeaf(part, *static_cast<PeerMessage*>(data));
}

}  // namespace

void startPeer() { g_mime_init(); }

PeerMessage readWithPeer(std::string_view text) {
  PeerMessage message;
  GMimeStream* stream = g_mime_stream_mem_new_with_buffer(text.data(), text.size());
  GMimeParser* parser = g_mime_parser_new_with_stream(stream);
  GMimeMessage* parsed = g_mime_parser_construct_message(parser, nullptr);
  if (parsed != nullptr) {
    message.parsed = true;
    const char* subject = g_mime_message_get_subject(parsed);
    message.subject = subject != nullptr ? subject : "";
    const auto senders = addressesOf(g_mime_message_get_from(parsed));
    if (!senders.empty()) message.from = senders.front();
    message.to = addressesOf(g_mime_message_get_to(parsed));
    message.cc = addressesOf(g_mime_message_get_cc(parsed));
    if (GDateTime* date = g_mime_message_get_date(parsed)) {
      message.hasDate = true;
      message.date = g_date_time_to_unix(date);
    }
    g_mime_message_foreach(parsed, onPart, &message);
    g_object_unref(parsed);
  }
  g_object_unref(parser);
  g_object_unref(stream);
  return message;
}

}  // namespace keldane::bench
