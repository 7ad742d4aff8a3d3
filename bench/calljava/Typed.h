#ifndef FERROLINK_BENCH_CALLJAVA_TYPED_H
#define FERROLINK_BENCH_CALLJAVA_TYPED_H

#include <ferrolink/Objects.h>
#include <jni.h>

#include <functional>
#include <string>
#include <vector>

namespace Ferrolink::Bench {

/// One way to do one piece of work once. Throws if the result is wrong: all ways check it alike.
using Way = std::function<void()>;

/// The pieces of work, in the order of the table.
inline constexpr const char* kTypedWorks[] = {"length", "max", "concat", "new", "in", "out"};

/// Doubles in an array of 1 MiB, and the sum of every 128th of them.
inline constexpr std::size_t kManyNumbers = std::size_t{1} << 17;
double SumOfMany(const std::vector<double>& numbers);
const std::vector<double>& ManyNumbers();

/// Throws if `holds` is false.
void RequireResult(bool holds);

/// The texts that "length" and "concat" work on.
inline const std::string kFirstText = "a text of 24 characters.";
inline const std::string kSecondText = " and 17 more here";

/// The ways of JNI written by hand: identifiers looked up once, exceptions checked, every local
/// reference deleted, results in the same C++ types. Made and used on one attached thread.
class TypedByHand {
 public:
  explicit TypedByHand(JNIEnv* env);
  [[nodiscard]] Way Of(const std::string& work) const;

 private:
  [[nodiscard]] Way Length() const;
  [[nodiscard]] Way Max() const;
  [[nodiscard]] Way Concat() const;
  [[nodiscard]] Way New() const;
  [[nodiscard]] Way In() const;
  [[nodiscard]] Way Out() const;

  [[nodiscard]] jclass ClassOf(const char* name) const;
  [[nodiscard]] jobject Text(const std::string& text) const;
  void Check() const;

  JNIEnv* m_env;
};

/// The ways of typed calls: the member looked up once ("by id"), or named in each call ("by name").
class TypedOurs {
 public:
  explicit TypedOurs(const Objects::Java& java) : m_java(java) {}
  [[nodiscard]] Way ById(const std::string& work) const;
  [[nodiscard]] Way ByName(const std::string& work) const;

 private:
  [[nodiscard]] Objects::Object Text(const std::string& text) const;

  Objects::Java m_java;
};

}  // namespace Ferrolink::Bench

#endif
