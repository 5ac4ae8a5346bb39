// Owners for what C interfaces hand out; the function that releases stands in the type and nowhere else.
#pragma once

#include <jansson.h>

#include <cstdlib>
#include <memory>

namespace azurestackpi {

struct JsonDeleter {
  void operator()(json_t* value) const { json_decref(value); }
};
/// A reference to a JSON value that is given back at the end. Borrowed references stay plain pointers.
using JsonPtr = std::unique_ptr<json_t, JsonDeleter>;

struct FreeDeleter {
  void operator()(void* block) const { std::free(block); }
};
/// A text allocated by C code.
using CText = std::unique_ptr<char, FreeDeleter>;

}  // namespace azurestackpi
