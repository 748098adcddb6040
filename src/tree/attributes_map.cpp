#include "tree/attributes_map.h"

#include <cstddef>

#include "base/text.h"

namespace xv::XMLParse {
namespace {
constexpr std::size_t kIndexFrom = 48;  // attributes
constexpr std::size_t kUsual = 2;       // of an entry
}  // namespace

std::size_t ObjectsMap::Find(std::string_view name) const {
  if (index_ != nullptr) {
    const auto found = index_->find(ToLower(name));
    return found == index_->end() ? kNone : found->second;
  }
  for (std::size_t i = 0; i < attributes_.size(); ++i) {
    const std::string& one = attributes_[i].name;
    if (one.size() == name.size() && EqualsNoCase(one, name)) return i;
  }
  return kNone;
}

const XMLValue* ObjectsMap::FindValue(std::string_view name) const {
  const std::size_t at = Find(name);
  return at == kNone ? nullptr : &attributes_[at].value;
}

bool ObjectsMap::Set(std::string_view name, XMLValue value, bool onlyIfAbsent) {
  const std::size_t at = Find(name);
  if (at == kNone) {
    Append(name, std::move(value));
    return true;
  }
  if (onlyIfAbsent) return false;
  attributes_[at].value = std::move(value);
  return true;
}

void ObjectsMap::Append(std::string_view name, XMLValue value) {
  if (attributes_.empty()) attributes_.reserve(kUsual);
  attributes_.push_back({std::string(name), std::move(value)});
  try {
    if (index_ != nullptr) {
      index_->emplace(ToLower(name), attributes_.size() - 1);
    } else if (attributes_.size() >= kIndexFrom) {
      auto index = std::make_unique<Index>();
      for (std::size_t i = 0; i < attributes_.size(); ++i)
        index->emplace(ToLower(attributes_[i].name), i);
      index_ = std::move(index);
    }
  } catch (...) {
    index_ = nullptr;  // an incomplete index is no index; the search goes on without it
  }
}

bool ObjectsMap::Remove(std::string_view name) {
  const std::size_t at = Find(name);
  if (at == kNone) return false;
  index_ = nullptr;
  attributes_.erase(attributes_.begin() + static_cast<std::ptrdiff_t>(at));
  return true;
}

void ObjectsMap::Clear() {
  index_ = nullptr;
  attributes_.clear();
}

void ObjectsMap::CopyFrom(const ObjectsMap& other) {
  auto index = other.index_ == nullptr ? nullptr : std::make_unique<Index>(*other.index_);
  attributes_ = other.attributes_;
  index_ = std::move(index);
}

void ObjectsMap::Swap(ObjectsMap& other) noexcept {
  attributes_.swap(other.attributes_);
  index_.swap(other.index_);
}

}  // namespace xv::XMLParse
