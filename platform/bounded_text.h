// Bounded text functions: never write past the buffer, always end with a NUL, say what was cut.
#pragma once

#include <cstdarg>
#include <cstddef>

/// Copies source into destination, at most size - 1 bytes and a NUL. Returns the length of source: a result of size
/// or more says that the text was cut. A size of 0 writes nothing.
std::size_t V_strlcpy(char* destination, const char* source, std::size_t size);

/// Appends source to the text in destination, whose buffer holds size bytes. Returns the length that the whole text
/// would have: a result of size or more says that it was cut. A destination without a NUL in its buffer is left alone.
std::size_t V_strlcat(char* destination, const char* source, std::size_t size);

/// As snprintf, but a size of 0 or a formatting error leaves an empty text where there is room for one. Returns the
/// length the whole text would have, or -1 on a formatting error.
int V_snprintf(char* destination, std::size_t size, const char* format, ...) __attribute__((format(printf, 3, 4)));
int V_vsnprintf(char* destination, std::size_t size, const char* format, std::va_list arguments)
    __attribute__((format(printf, 3, 0)));
