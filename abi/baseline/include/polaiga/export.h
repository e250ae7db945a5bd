/* Marks the names that libpolaiga.so exports, and gives them C linkage. */
#ifndef POLAIGA_EXPORT_H
#define POLAIGA_EXPORT_H

#define POLAIGA_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define POLAIGA_BEGIN_DECLS extern "C" {
#define POLAIGA_END_DECLS }
#else
#define POLAIGA_BEGIN_DECLS
#define POLAIGA_END_DECLS
#endif

#endif
