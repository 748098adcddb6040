#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/text.h"

namespace xv::XMLParse {

// Entries in the order of insertion, found by names that compare without regard to case; a name may
// stand more than once. A short list is searched from the front. A long one gets an index, and what
// is removed leaves a hole until there are more holes than entries, so that a text of a million
// names is read, taken apart and put together again in linear time. The owner locks.
//
// `Traits` gives Name(entry), IsHole(entry) and MakeHole(entry&).
template <class Entry, class Traits>
class NamedList {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  std::size_t Count() const { return entries_.size() - holes_; }
  bool Empty() const { return Count() == 0; }
  bool HasHoles() const { return holes_ > 0; }

  // The n-th entry; kNone's is never asked for. With holes it takes a walk: see Pack.
  const Entry& At(std::size_t n) const {
    if (holes_ == 0) return entries_[n];
    std::size_t place = 0;
    for (std::size_t left = n + 1; left > 0; ++place) left -= IsEntry(place) ? 1 : 0;
    return entries_[place - 1];
  }
  template <class Visit>
  void ForEach(Visit&& visit) const {
    for (const Entry& entry : entries_) {
      if (!Traits::IsHole(entry)) visit(entry);
    }
  }

  // A place stays what it is until an entry is removed or the list packed. kNone when there is
  // none.
  std::size_t Find(std::string_view name, std::size_t n = 0) const {
    if (!index_) return FindFromTheFront(name, [&](const Entry&) { return n-- == 0; });
    const auto found = index_->find(ToLower(name));
    return found == index_->end() || n >= found->second.size() ? kNone : found->second[n];
  }
  template <class Is>
  std::size_t FindIf(std::string_view name, Is&& is) const {
    return index_ ? FindIndexed(name, is) : FindFromTheFront(name, is);
  }
  Entry& AtPlace(std::size_t place) { return entries_[place]; }
  const Entry& AtPlace(std::size_t place) const { return entries_[place]; }
  // How many entries are ahead of the place.
  std::size_t Number(std::size_t place) const {
    if (holes_ == 0) return place;
    const auto end = entries_.begin() + static_cast<std::ptrdiff_t>(place);
    return static_cast<std::size_t>(std::count_if(
        entries_.begin(), end, [](const Entry& one) { return !Traits::IsHole(one); }));
  }

  void Append(Entry entry) {
    if (entries_.empty()) entries_.reserve(kUsual);
    entries_.push_back(std::move(entry));
    if (index_) {
      ChangeIndex([&] { AddToIndex(entries_.size() - 1); });
    } else if (entries_.size() >= kIndexFrom) {
      MakeIndex();
    }
  }

  void Remove(std::size_t place) {
    if (!index_) {
      entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(place));
      return;
    }
    ChangeIndex([&] { TakeFromIndex(place); });
    Traits::MakeHole(entries_[place]);
    ++holes_;
    if (holes_ > Count()) Pack();
  }

  // Runs `change`, which gives the entry another name.
  template <class Change>
  void Rename(std::size_t place, Change&& change) {
    ChangeIndex([&] { TakeFromIndex(place); });
    change();
    ChangeIndex([&] { AddToIndex(place); });
  }

  // Closes the holes.
  void Pack() {
    if (holes_ == 0) return;
    const auto end = std::remove_if(entries_.begin(), entries_.end(), Traits::IsHole);
    entries_.erase(end, entries_.end());
    holes_ = 0;
    index_ = nullptr;
    if (entries_.size() >= kIndexFrom) MakeIndex();
  }

  void Clear() { *this = NamedList(); }

 private:
  static constexpr std::size_t kIndexFrom = 48;  // entries
  static constexpr std::size_t kUsual = 2;       // entries

  // Ascending places by lower-case name.
  using Index = std::unordered_map<std::string, std::vector<std::size_t>>;

  bool IsEntry(std::size_t place) const { return !Traits::IsHole(entries_[place]); }

  template <class Is>
  std::size_t FindFromTheFront(std::string_view name, Is&& is) const {
    for (std::size_t place = 0; place < entries_.size(); ++place) {
      if (!IsEntry(place)) continue;
      const std::string& one = Traits::Name(entries_[place]);
      if (one.size() == name.size() && EqualsNoCase(one, name) && is(entries_[place])) return place;
    }
    return kNone;
  }
  template <class Is>
  std::size_t FindIndexed(std::string_view name, Is&& is) const {
    const auto found = index_->find(ToLower(name));
    if (found == index_->end()) return kNone;
    for (const std::size_t place : found->second) {
      if (is(entries_[place])) return place;
    }
    return kNone;
  }

  // An incomplete index is no index; the search goes on without it.
  template <class Change>
  void ChangeIndex(Change&& change) {
    if (!index_) return;
    try {
      change();
    } catch (...) {
      index_ = nullptr;
    }
  }
  void MakeIndex() {
    index_ = std::make_unique<Index>();
    ChangeIndex([&] {
      for (std::size_t place = 0; place < entries_.size(); ++place) {
        if (IsEntry(place)) AddToIndex(place);
      }
    });
  }
  void AddToIndex(std::size_t place) {
    std::vector<std::size_t>& places = (*index_)[ToLower(Traits::Name(entries_[place]))];
    places.insert(std::upper_bound(places.begin(), places.end(), place), place);
  }
  void TakeFromIndex(std::size_t place) {
    const auto found = index_->find(ToLower(Traits::Name(entries_[place])));
    std::vector<std::size_t>& places = found->second;
    places.erase(std::lower_bound(places.begin(), places.end(), place));
    if (places.empty()) index_->erase(found);
  }

  std::vector<Entry> entries_;
  std::size_t holes_ = 0;
  std::unique_ptr<Index> index_;  // null, or complete
};

}  // namespace xv::XMLParse
