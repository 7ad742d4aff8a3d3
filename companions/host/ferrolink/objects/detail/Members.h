#ifndef FERROLINK_HOST_OBJECTS_DETAIL_MEMBERS_H
#define FERROLINK_HOST_OBJECTS_DETAIL_MEMBERS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "ferrolink/objects/Object.h"
#include "ferrolink/objects/detail/Request.h"
#include "ferrolink/objects/detail/Wire.h"
#include "ferrolink/objects/detail/Writer.h"

namespace Ferrolink::Objects {

/// A Java class, by its name or as its java.lang.Class object. Views what it is made of: meant for
/// parameters.
class ClassReference {
 public:
  ClassReference(const char* name) : m_name(name) {}         // NOLINT(google-explicit-constructor)
  ClassReference(std::string_view name) : m_name(name) {}    // NOLINT(google-explicit-constructor)
  ClassReference(const std::string& name) : m_name(name) {}  // NOLINT(google-explicit-constructor)
  ClassReference(const Object& type) : m_type(&type) {}      // NOLINT(google-explicit-constructor)

  [[nodiscard]] std::string_view Name() const noexcept { return m_name; }
  /// Null if it is a name.
  [[nodiscard]] const Object* Type() const noexcept { return m_type; }

 private:
  std::string_view m_name;
  const Object* m_type = nullptr;
};

}  // namespace Ferrolink::Objects

namespace Ferrolink::Objects::detail {

/// Whose member is asked for, and which.
struct MemberKey {
  Session* session;
  MemberKind kind;
  /// What tells the owner from others: the class identifier of an object, or the handle of a
  /// java.lang.Class. 0 if the class is named.
  std::uint64_t owner;
  std::string_view className;
  std::string_view name;

  [[nodiscard]] std::size_t Hash() const noexcept {
    std::uint64_t hash = owner * 31 + static_cast<std::uint64_t>(kind);
    hash = Mix(Mix(hash, className), name);
    return static_cast<std::size_t>(hash ^ (hash >> 32U));
  }

 private:
  // Names that differ in the middle alone share a place, which costs time and nothing else.
  static std::uint64_t Mix(std::uint64_t hash, std::string_view text) noexcept {
    constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    const std::size_t length = std::min(text.size(), sizeof(first));
    std::memcpy(&first, text.data(), length);
    std::memcpy(&last, text.data() + text.size() - length, length);
    return ((hash ^ first) * kOdd ^ last ^ text.size()) * kOdd;
  }
};

/// One member that was looked up.
struct KnownMember {
  Session* session = nullptr;
  std::uint64_t owner = 0;
  MemberKind kind{};
  std::uint32_t member = 0;
  std::string className;
  std::string name;
};

// As t_buffersEnded.
inline thread_local bool t_membersEnded = false;

/// What MemberCache keeps for one thread.
struct KnownMembers {
  static constexpr std::size_t kPlaces = 256;
  using Places = std::array<KnownMember, kPlaces>;

  KnownMembers() = default;
  KnownMembers(const KnownMembers&) = delete;
  KnownMembers& operator=(const KnownMembers&) = delete;
  ~KnownMembers() { t_membersEnded = true; }

  std::unique_ptr<Places> places;
};
inline thread_local KnownMembers t_members;

/// Identifiers of members that this thread has asked for before. They are valid as long as the JVM.
class MemberCache {
 public:
  static const std::uint32_t* Find(const MemberKey& key) noexcept {
    if (t_membersEnded || t_members.places == nullptr) {
      return nullptr;
    }
    const KnownMember& entry = (*t_members.places)[key.Hash() % KnownMembers::kPlaces];
    const bool same = entry.session == key.session && entry.owner == key.owner &&
                      entry.kind == key.kind && entry.name == key.name &&
                      entry.className == key.className;
    return same ? &entry.member : nullptr;
  }

  static void Put(const MemberKey& key, std::uint32_t member) {
    if (t_membersEnded) {
      return;
    }
    if (t_members.places == nullptr) {
      t_members.places = std::make_unique<KnownMembers::Places>();
    }
    KnownMember& entry = (*t_members.places)[key.Hash() % KnownMembers::kPlaces];
    entry.session = nullptr;  // for the case that a text finds no memory
    entry.className = key.className;
    entry.name = key.name;
    entry.owner = key.owner;
    entry.kind = key.kind;
    entry.member = member;
    entry.session = key.session;
  }
};

/// Asks the broker. `writeOwner` writes the value that names the owner; `kind` is the key's, or has
/// kOfClassObject added.
template <class WriteOwner>
std::uint32_t ResolveMember(const MemberKey& key, std::uint8_t kind, WriteOwner writeOwner) {
  Request request(*key.session, Operation::Resolve);
  request.Out().AppendNumber(kind);
  Writer writer(request.Out(), Handing::Lent);
  writeOwner(writer);
  request.Out().AppendText(key.name);
  const auto member = request.Send().TakeNumber<std::uint32_t>();
  MemberCache::Put(key, member);
  return member;
}

/// A method or a field of an object's class.
inline std::uint32_t MemberOf(const Object& object, MemberKind kind, std::string_view name) {
  const MemberKey key{
      &ObjectAccess::SessionOf(object), kind, ObjectAccess::ClassId(object), {}, name};
  if (const std::uint32_t* known = key.owner != 0 ? MemberCache::Find(key) : nullptr) {
    return *known;
  }
  return ResolveMember(key, static_cast<std::uint8_t>(kind),
                       [&](Writer& writer) { writer.WriteObject(object); });
}

/// A member of a class.
inline std::uint32_t MemberOf(Session& session, const ClassReference& type, MemberKind kind,
                              std::string_view name) {
  const std::uint64_t owner = type.Type() == nullptr ? 0 : ObjectAccess::Number(*type.Type());
  const MemberKey key{&session, kind, owner, type.Name(), name};
  if (const std::uint32_t* known = MemberCache::Find(key)) {
    return *known;
  }
  const bool isObject = type.Type() != nullptr;
  const auto number =
      static_cast<std::uint8_t>(static_cast<unsigned>(kind) | (isObject ? kOfClassObject : 0U));
  return ResolveMember(key, number, [&](Writer& writer) {
    if (isObject) {
      writer.WriteObject(*type.Type());
    } else {
      writer.WriteText(type.Name());
    }
  });
}

}  // namespace Ferrolink::Objects::detail

#endif
