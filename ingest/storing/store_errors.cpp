#include "ingest/storing/store_errors.h"

#include <iostream>
#include <utility>

#include "base/text.h"

namespace keldane {

StoreErrors::StoreErrors(ServerSession& session, StoreLog& storeLog,
                         std::function<void(const std::string&)> serverLost)
    : session_(session), storeLog_(storeLog), serverLost_(std::move(serverLost)) {}

void StoreErrors::begin(const std::string& label) {
  label_ = &label;
  first_.clear();
  failed_ = false;
  worthAnotherTry_ = false;
  lost_ = false;
}

bool StoreErrors::fail(std::string_view head) { return fail(head, serverText(), false); }

bool StoreErrors::failForGood(std::string_view head, std::string_view reason) {
  return fail(head, reason, true);
}

bool StoreErrors::fail(std::string_view head, std::string_view reason, bool forGood) {
  std::string line(head);
  storeLog_.write(line.append(reason).append(", ").append(printable(*label_)).append("\n"));
  keep(reason, forGood);
  return false;
}

bool StoreErrors::failWithoutLabel(std::string_view head) {
  const std::string reason = serverText();
  storeLog_.write(std::string(head) + reason + "\n");
  remember(reason);
  return false;
}

void StoreErrors::note(std::string_view head) {
  storeLog_.write(std::string(head) + serverText() + ", " + printable(*label_) + "\n");
}

void StoreErrors::noteInSystemLog(std::string_view head) {
  std::cerr << head << serverText() << ", " << printable(*label_) << "\n";
}

bool StoreErrors::serverHasGoneAway() const {
  return matchesWildcard(session_.error(), "*has gone away*");
}

std::string StoreErrors::serverText() {
  const std::string text = session_.error();
  if (isLostConnection(text)) {
    lost_ = true;
    if (serverLost_) serverLost_(text);
  }
  // The server quotes what it could not read, and that is text of the message.
  return printable(text);
}

void StoreErrors::remember(std::string_view reason) { keep(reason, false); }

void StoreErrors::keep(std::string_view reason, bool forGood) {
  if (!forGood) worthAnotherTry_ = true;
  if (failed_) return;
  failed_ = true;
  first_ = reason;
}

}  // namespace keldane
