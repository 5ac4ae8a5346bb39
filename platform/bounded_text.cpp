#include "platform/bounded_text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

std::size_t V_strlcpy(char* destination, const char* source, std::size_t size) {
  const std::size_t length = std::strlen(source);
  if (size != 0) {
    const std::size_t kept = std::min(length, size - 1);
    std::memcpy(destination, source, kept);
    destination[kept] = '\0';
  }
  return length;
}

std::size_t V_strlcat(char* destination, const char* source, std::size_t size) {
  const std::size_t used = strnlen(destination, size);
  if (used == size) {
    return size + std::strlen(source);
  }
  return used + V_strlcpy(destination + used, source, size - used);
}

int V_vsnprintf(char* destination, std::size_t size, const char* format, std::va_list arguments) {
  const int length = std::vsnprintf(destination, size, format, arguments);
  if (length < 0 && size != 0) {
    destination[0] = '\0';
  }
  return length;
}

int V_snprintf(char* destination, std::size_t size, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = V_vsnprintf(destination, size, format, arguments);
  va_end(arguments);
  return length;
}
