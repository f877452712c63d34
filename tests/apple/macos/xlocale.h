#pragma once

// What libc++ needs of Darwin's C library and Debian's does not have.

#include <ctype.h>
#include <locale.h>
#include <stddef.h>
#include <wchar.h>

#undef isdigit_l
#undef isxdigit_l

extern "C" {
int sscanf_l(const char* text, locale_t locale, const char* format, ...);
int snprintf_l(char* text, size_t size, locale_t locale, const char* format, ...);
int asprintf_l(char** text, locale_t locale, const char* format, ...);
}
