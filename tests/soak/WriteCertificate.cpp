// Writes a certificate for 127.0.0.1 and its key into a directory, for the soak's server.
#include <cstdio>
#include <exception>
#include <filesystem>

#include "tests/companions/tcp/Certificates.h"

namespace fs = std::filesystem;

int main(int argc, char** argv) {
  constexpr long kWeek = 7L * 24 * 3600;
  if (argc != 2) {
    std::fprintf(stderr, "usage: soak-certificate DIRECTORY\n");
    return 2;
  }
  try {
    Ferrolink::Tests::Certificate::Wish wish;
    wish.lastSecond = kWeek;
    const Ferrolink::Tests::Certificate certificate(wish);
    const fs::path directory = argv[1];
    fs::copy_file(certificate.File(), directory / "certificate",
                  fs::copy_options::overwrite_existing);
    fs::copy_file(certificate.KeyFile(), directory / "key", fs::copy_options::overwrite_existing);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
