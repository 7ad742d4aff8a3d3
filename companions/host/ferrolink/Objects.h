#ifndef FERROLINK_HOST_OBJECTS_H
#define FERROLINK_HOST_OBJECTS_H

#include "ferrolink/objects/Elements.h"
#include "ferrolink/objects/Errors.h"
#include "ferrolink/objects/Function.h"
#include "ferrolink/objects/Java.h"
#include "ferrolink/objects/JavaException.h"
#include "ferrolink/objects/Method.h"
#include "ferrolink/objects/Object.h"
#include "ferrolink/objects/Scope.h"

/// Typed calls: any Java class from C++, and C++ functions from Java. Header-only; needs what
/// ferrolink/Host.h needs.
/// @code
/// using namespace Ferrolink::Objects;
/// Ferrolink::Host::Host host;
/// Java java(host);
/// Object list = java.New("java.util.ArrayList");
/// list.Call("add", 42);
/// int n = list.Call<int>("size");
/// list.Call("sort", java.Implement("java.util.Comparator", [](int a, int b) { return b - a; }));
/// @endcode
/// docs/objects.md is the guide: types, lifetimes, threads, errors and what costs how much.
namespace Ferrolink::Objects {}

#endif
