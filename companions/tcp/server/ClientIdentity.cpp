#include "companions/tcp/server/ClientIdentity.h"

#include <openssl/bio.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <asio/ip/address.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

#include "companions/configs/Configuration.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

// UTF-8 is not escaped. Control characters and the characters of RFC 2253 are.
constexpr unsigned long kSubjectFormat = XN_FLAG_RFC2253 & ~ASN1_STRFLGS_ESC_MSB;

template <class Owned, void (*release)(Owned*)>
struct Release {
  void operator()(Owned* owned) const { release(owned); }
};
void FreeBio(BIO* bio) {
  BIO_free_all(bio);
}
using Bio = std::unique_ptr<BIO, Release<BIO, FreeBio>>;
using Names = std::unique_ptr<GENERAL_NAMES, Release<GENERAL_NAMES, GENERAL_NAMES_free>>;

// Rejects zero bytes: "good.example\0.evil.example" would look like another name.
bool IsPrintable(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char letter) {
    return static_cast<unsigned char>(letter) > 0x20U && letter != '\x7f';
  });
}

std::string TextOf(const ASN1_STRING* text) {
  const auto* bytes = reinterpret_cast<const char*>(ASN1_STRING_get0_data(text));
  return {bytes, static_cast<std::size_t>(ASN1_STRING_length(text))};
}

std::string AddressOf(const ASN1_STRING* text) {
  const std::span<const unsigned char> bytes(ASN1_STRING_get0_data(text),
                                             static_cast<std::size_t>(ASN1_STRING_length(text)));
  const auto as = [&](auto room) {
    std::copy(bytes.begin(), bytes.end(), room.begin());
    return room;
  };
  if (bytes.size() == 4) {
    return asio::ip::make_address_v4(as(asio::ip::address_v4::bytes_type{})).to_string();
  }
  if (bytes.size() == 16) {
    return asio::ip::make_address_v6(as(asio::ip::address_v6::bytes_type{})).to_string();
  }
  return {};
}

// Empty for a kind of name that rules do not support.
std::string NameOf(const GENERAL_NAME& name) {
  switch (name.type) {
    case GEN_DNS:
      return CanonicalName("dns:" + TextOf(name.d.dNSName));
    case GEN_IPADD:
      return CanonicalName("ip:" + AddressOf(name.d.iPAddress));
    case GEN_URI:
      return CanonicalName("uri:" + TextOf(name.d.uniformResourceIdentifier));
    case GEN_EMAIL:
      return CanonicalName("email:" + TextOf(name.d.rfc822Name));
    default:
      return {};
  }
}

// Removes blanks around "," "+" and "=", and converts types to upper case.
std::string CanonicalSubject(std::string_view subject) {
  std::string result;
  bool inType = true;
  for (std::size_t i = 0; i < subject.size(); ++i) {
    const char letter = subject[i];
    if (letter == '\\' && i + 1 < subject.size()) {
      result += letter;
      result += subject[++i];
      continue;
    }
    const bool separates = letter == ',' || letter == '+' || (inType && letter == '=');
    if (separates) {
      while (!result.empty() && result.back() == ' ' &&
             (result.size() < 2 || result[result.size() - 2] != '\\')) {
        result.pop_back();
      }
      inType = letter != '=';
    }
    const bool isType = inType && letter >= 'a' && letter <= 'z';
    result += isType ? static_cast<char>(letter - 'a' + 'A') : letter;
    while (separates && i + 1 < subject.size() && subject[i + 1] == ' ') {
      ++i;
    }
  }
  return result;
}

std::string CanonicalAddress(std::string_view text) {
  asio::error_code error;
  const auto address = asio::ip::make_address(std::string(text), error);
  return error ? std::string() : address.to_string();
}

// Domains are case-insensitive. The part before the "@" may be case-sensitive.
std::string CanonicalMail(std::string_view text) {
  const std::size_t at = text.rfind('@');
  if (at == std::string_view::npos) {
    return {};
  }
  return std::string(text.substr(0, at)) + LowerCase(text.substr(at));
}

}  // namespace

std::string SubjectOf(const X509* certificate) {
  const Bio out(BIO_new(BIO_s_mem()));
  if (out == nullptr ||
      X509_NAME_print_ex(out.get(), X509_get_subject_name(certificate), 0, kSubjectFormat) < 0) {
    return {};
  }
  char* text = nullptr;
  const long length = BIO_get_mem_data(out.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

ClientIdentity IdentityOf(const X509* certificate, std::string address) {
  ClientIdentity identity{std::move(address), {}, {}};
  if (certificate == nullptr) {
    return identity;
  }
  identity.subject = SubjectOf(certificate);
  const Names names(static_cast<GENERAL_NAMES*>(
      X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
  const int count = names == nullptr ? 0 : sk_GENERAL_NAME_num(names.get());
  for (int i = 0; i < count; ++i) {
    std::string name = NameOf(*sk_GENERAL_NAME_value(names.get(), i));
    if (!name.empty()) {
      identity.names.push_back(std::move(name));
    }
  }
  return identity;
}

std::string CanonicalName(std::string_view name) {
  using Rule = std::pair<std::string_view, std::string (*)(std::string_view)>;
  static constexpr auto kAsItIs = [](std::string_view text) { return std::string(text); };
  static const std::array<Rule, 4> rules = {
      {{"dns:", [](std::string_view text) { return LowerCase(text); }},
       {"ip:", CanonicalAddress},
       {"uri:", kAsItIs},
       {"email:", CanonicalMail}}};
  constexpr std::string_view kSubject = "subject:";
  if (name.substr(0, kSubject.size()) == kSubject) {
    const std::string subject = CanonicalSubject(name.substr(kSubject.size()));
    return subject.find('=') == std::string::npos ? "" : std::string(kSubject) + subject;
  }
  for (const auto& [kind, canonical] : rules) {
    if (name.substr(0, kind.size()) == kind && IsPrintable(name.substr(kind.size()))) {
      const std::string text = canonical(name.substr(kind.size()));
      return text.empty() ? "" : std::string(kind) + text;
    }
  }
  return {};
}

}  // namespace Ferrolink::Companions::Tcp::Server
