#ifndef FERROLINK_TESTS_NATIVE_LOADERPROBE_H
#define FERROLINK_TESTS_NATIVE_LOADERPROBE_H

#include <string>
#include <vector>

/// Intercepts the calls of the library's objects to the dynamic loader. The test's executable must
/// be linked with ferrolink_wrap(<target> dlopen dlsym dladdr dlerror). Passes calls on to the
/// loader unless the test says otherwise. Thread-safe.
namespace Ferrolink::Tests::LoaderProbe {

/// The libraries that were asked for so far, each as "<path> <flags>".
std::vector<std::string> Openings();

/// How often a function of this name was looked up so far.
int Lookups(const std::string& name);

/// Has every `dladdr` fail; with false they succeed again.
void FailAddressLookups(bool failing);

/// How often `dladdr` was called so far.
int AddressLookups();

/// Has every error text of the loader read `text`; with null the loader has none to tell.
void SetErrorText(const char* text);

}  // namespace Ferrolink::Tests::LoaderProbe

#endif
