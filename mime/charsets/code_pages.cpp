#include "mime/charsets/code_pages.h"

#include <atomic>
#include <cstdlib>
#include <mutex>

namespace keldane::mime::code_pages {

namespace {

constexpr std::size_t kMaxPages = 160;

/// A page that could not be built, so that it is not tried again and again.
const Page kUnusable;

struct Cache {
  std::mutex building;
  std::array<std::atomic<const Page*>, kMaxPages> pages{};
};

Cache& cache() {
  // Never destroyed: a thread may still convert while the process ends.
  static Cache* const shared = new Cache;
  return *shared;
}

/// With the lock held.
const Page* buildLocked(Cache& shared, std::size_t index) {
  std::atomic<const Page*>& slot = shared.pages[index];
  if (const Page* page = slot.load(std::memory_order_acquire)) return page;
  const PageSource& source = kPageSources[index];
  const Page* base = nullptr;
  if (source.origin == Origin::kPage) {
    const PageSource* row = findPageSource(std::atoi(source.name));
    base = row ? buildLocked(shared, static_cast<std::size_t>(row - kPageSources)) : &kUnusable;
  }
  std::unique_ptr<Page> built;
  if (base != &kUnusable) built = build(source, base);
  const Page* page = built ? built.release() : &kUnusable;
  slot.store(page, std::memory_order_release);
  return page;
}

}  // namespace

const Page* find(int codePage) {
  const PageSource* source = findPageSource(codePage);
  if (!source) return nullptr;
  const auto index = static_cast<std::size_t>(source - kPageSources);
  Cache& shared = cache();
  const Page* page = shared.pages[index].load(std::memory_order_acquire);
  if (!page) {
    const std::lock_guard<std::mutex> lock(shared.building);
    page = buildLocked(shared, index);
  }
  return page == &kUnusable ? nullptr : page;
}

void cleanup() {
  Cache& shared = cache();
  const std::lock_guard<std::mutex> lock(shared.building);
  for (std::atomic<const Page*>& slot : shared.pages) {
    const Page* page = slot.exchange(nullptr);
    if (page != &kUnusable) delete page;
  }
}

}  // namespace keldane::mime::code_pages
