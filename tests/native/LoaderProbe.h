#ifndef FERROLINK_TESTS_NATIVE_LOADERPROBE_H
#define FERROLINK_TESTS_NATIVE_LOADERPROBE_H

#include <string>
#include <vector>

/// Stands between the library's objects and the dynamic loader in a test's executable, which must
/// be linked with ferrolink_wrap(<target> dlopen dlsym dladdr dlerror). Calls go through to the
/// loader unless told otherwise. Any thread.
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
