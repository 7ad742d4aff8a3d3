#ifndef FERROLINK_HOST_OBJECTS_DETAIL_MEMBERS_H
#define FERROLINK_HOST_OBJECTS_DETAIL_MEMBERS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "ferrolink/objects/Object.h"
#include "ferrolink/objects/detail/Request.h"
#include "ferrolink/objects/detail/Wire.h"
#include "ferrolink/objects/detail/Writer.h"

namespace Ferrolink::Objects {

/// Names a Java class by its name or by its java.lang.Class object. A parameter type: it views its
/// source, so it must not outlive the call.
/// @code
/// java.New("java.util.ArrayList");
/// java.New(java.FindClass("java.util.ArrayList"));
/// @endcode
class ClassReference {
 public:
  /// A name, in the form of Java source or of Class.getName.
  ClassReference(const char* name) : m_name(name) {}  // NOLINT(google-explicit-constructor)
  /// The same.
  ClassReference(std::string_view name) : m_name(name) {}  // NOLINT(google-explicit-constructor)
  /// The same.
  ClassReference(const std::string& name) : m_name(name) {}  // NOLINT(google-explicit-constructor)
  /// An object of java.lang.Class.
  ClassReference(const Object& type) : m_type(&type) {}  // NOLINT(google-explicit-constructor)

  /// Empty if the class is given by an object.
  [[nodiscard]] std::string_view Name() const noexcept { return m_name; }
  /// Null if the class is given by its name.
  [[nodiscard]] const Object* Type() const noexcept { return m_type; }

 private:
  std::string_view m_name;
  const Object* m_type = nullptr;
};

}  // namespace Ferrolink::Objects

namespace Ferrolink::Objects::detail {

/// Identifies a member for the cache. The texts are views of the caller's.
struct MemberKey {
  /// Numbers of members are valid for one session.
  Session* session;
  /// A method and a field may have the same name.
  MemberKind kind;
  /// The number of an object's class, or of the handle of a java.lang.Class. 0 if the class is
  /// named.
  std::uint64_t owner;
  /// The name of the class; empty if `owner` is not 0.
  std::string_view className;
  /// The name of the member; "<init>" for constructors.
  std::string_view name;

  /// Different keys may have the same hash.
  [[nodiscard]] std::size_t Hash() const noexcept {
    std::uint64_t hash = owner * 31 + static_cast<std::uint64_t>(kind);
    hash = Mix(Mix(hash, className), name);
    return static_cast<std::size_t>(hash ^ (hash >> 32U));
  }

 private:
  // Reads only the first and the last eight bytes of a text. Texts that differ elsewhere collide,
  // which costs time only.
  static std::uint64_t Mix(std::uint64_t hash, std::string_view text) noexcept {
    constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;
    const auto [first, last] = Ends(text);
    return ((hash ^ first) * kOdd ^ last ^ text.size()) * kOdd;
  }

  // The first and the last bytes, which may overlap. Loads have constant sizes: no library call.
  static std::pair<std::uint64_t, std::uint64_t> Ends(std::string_view text) noexcept {
    const char* begin = text.data();
    const char* end = begin + text.size();
    if (text.size() >= sizeof(std::uint64_t)) {
      return {Load<std::uint64_t>(begin), Load<std::uint64_t>(end - sizeof(std::uint64_t))};
    }
    if (text.size() >= sizeof(std::uint32_t)) {
      return {Load<std::uint32_t>(begin), Load<std::uint32_t>(end - sizeof(std::uint32_t))};
    }
    if (text.empty()) {
      return {0, 0};
    }
    return {Load<std::uint8_t>(begin) + 256U * Load<std::uint8_t>(begin + text.size() / 2),
            Load<std::uint8_t>(end - 1)};
  }

  template <class T>
  static T Load(const char* from) noexcept {
    T number;
    std::memcpy(&number, from, sizeof(T));
    return number;
  }
};

/// An entry of the cache: a key that owns its texts, and the member's number.
struct KnownMember {
  /// Null in an unused entry.
  Session* session = nullptr;
  /// As in MemberKey.
  std::uint64_t owner = 0;
  /// As in MemberKey.
  MemberKind kind{};
  /// The broker's number of the member.
  std::uint32_t member = 0;
  /// As in MemberKey.
  std::string className;
  /// As in MemberKey.
  std::string name;
};

/// What MemberCache keeps for one thread.
class KnownMembers {
 public:
  /// The number of entries. Each key has one place and replaces the key that was there.
  static constexpr std::size_t kPlaces = 256;

  KnownMembers(const KnownMembers&) = delete;
  KnownMembers& operator=(const KnownMembers&) = delete;

  /// As KeptBuffers::OfThread.
  static KnownMembers* OfThread() noexcept { return t_own; }
  /// As KeptBuffers::MadeForThread.
  static KnownMembers* MadeForThread() {
    if (t_own == nullptr && !t_ended) {
      static thread_local KnownMembers known;
      t_own = &known;
    }
    return t_own;
  }

  /// The place of a key. What is stored there may have another key.
  KnownMember& At(const MemberKey& key) noexcept { return (*m_places)[key.Hash() % kPlaces]; }

 private:
  KnownMembers() : m_places(std::make_unique<std::array<KnownMember, kPlaces>>()) {}
  ~KnownMembers() {
    t_own = nullptr;
    t_ended = true;
  }

  static inline constinit thread_local KnownMembers* t_own = nullptr;
  static inline constinit thread_local bool t_ended = false;

  std::unique_ptr<std::array<KnownMember, kPlaces>> m_places;
};

/// A cache of member numbers for each thread. It needs no lock and saves the command that looks a
/// member up. Numbers stay valid as long as the JVM.
/// @code
/// const MemberKey key{&session, MemberKind::Method, classId, {}, "size"};
/// const std::uint32_t* known = MemberCache::Find(key);
/// @endcode
class MemberCache {
 public:
  /// The member's number; null if it is not cached. Valid until the next Put of this thread.
  static const std::uint32_t* Find(const MemberKey& key) noexcept {
    KnownMembers* known = KnownMembers::OfThread();
    if (known == nullptr) {
      return nullptr;
    }
    const KnownMember& entry = known->At(key);
    const bool same = entry.session == key.session && entry.owner == key.owner &&
                      entry.kind == key.kind && entry.name == key.name &&
                      entry.className == key.className;
    return same ? &entry.member : nullptr;
  }

  /// Stores a member's number. Errors: std::bad_alloc, which leaves the place unused.
  static void Put(const MemberKey& key, std::uint32_t member) {
    KnownMembers* known = KnownMembers::MadeForThread();
    if (known == nullptr) {
      return;
    }
    KnownMember& entry = known->At(key);
    entry.session = nullptr;  // for the case that a text finds no memory
    entry.className = key.className;
    entry.name = key.name;
    entry.owner = key.owner;
    entry.kind = key.kind;
    entry.member = member;
    entry.session = key.session;
  }
};

/// Looks a member up by a command and caches its number. `writeOwner` encodes the owner. `kind` is
/// that of the key, with kOfClassObject added for a class that is given as an object. Errors: those
/// of Request::Send.
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

/// The number of a method or field of the object's class. Errors: those of Request::Send, and
/// ObjectError for null.
inline std::uint32_t MemberOf(const Object& object, MemberKind kind, std::string_view name) {
  const MemberKey key{
      &ObjectAccess::SessionOf(object), kind, ObjectAccess::ClassId(object), {}, name};
  if (const std::uint32_t* known = key.owner != 0 ? MemberCache::Find(key) : nullptr) {
    return *known;
  }
  return ResolveMember(key, static_cast<std::uint8_t>(kind),
                       [&](Writer& writer) { writer.WriteObject(object); });
}

/// The number of a static member or a constructor of a class; with MemberKind::Method, of a method
/// of its objects. Errors: those of Request::Send.
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
