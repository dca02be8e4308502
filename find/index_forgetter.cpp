#include "find/index_forgetter.h"

#include "find/index_catch_up.h"

namespace keldane {

IndexForgetter::IndexForgetter(ServerSession& session, const std::string& supportFolder) {
  const Result<std::string> identity = archiveIdentity(session);
  if (!identity) return;
  index_ = std::make_unique<WordIndex>(indexFolder(supportFolder, *identity), *identity);
  if (index_->open() != WordIndex::State::writing) index_.reset();
}

IndexForgetter::~IndexForgetter() {
  if (index_ && isChanged_) static_cast<void>(index_->commit());
}

void IndexForgetter::forget(std::uint32_t id) {
  if (index_ && index_->remove(id)) isChanged_ = true;
}

}  // namespace keldane
