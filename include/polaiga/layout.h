/*
 * Proves the sizes and offsets of the frozen records when a header is compiled.
 * Every language has its own assertion for that, except C99, which has none:
 * there a wrong layout makes an array of a negative size, which does not compile.
 */
#ifndef POLAIGA_LAYOUT_H
#define POLAIGA_LAYOUT_H

#include <stddef.h>

#if defined(__cplusplus)
#define POLAIGA_ASSERT(name, condition) static_assert(condition, #name)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define POLAIGA_ASSERT(name, condition) _Static_assert(condition, #name)
#else
#define POLAIGA_ASSERT(name, condition) typedef char polaiga_assert_##name[(condition) ? 1 : -1]
#endif

#define POLAIGA_SIZE(type, bytes) POLAIGA_ASSERT(type##_size, sizeof(type) == (bytes))
#define POLAIGA_OFFSET(type, field, bytes) POLAIGA_ASSERT(type##_##field, offsetof(type, field) == (bytes))

#endif
