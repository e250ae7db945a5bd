/*
 * polaiga: sensor events of a rack server in, fault records out.
 *
 * This header brings all the others. Conventions, which hold for every
 * function and table of the library:
 *
 *  1. Ownership. The caller owns the event and the fault record; the library
 *     owns its constant tables and a small state of its own. Nothing is
 *     allocated, nothing is handed over, and no pointer into the event or the
 *     record is kept after a call.
 *  2. Null. A filter answers -1, and touches nothing, when the address of the
 *     record pointer, the record pointer itself or the event is null; they are
 *     checked in that order. A lookup must be given a name.
 *  3. Result. A filter answers 0 when the record is filled and is to be
 *     reported, and -1 when the event yields no fault. After -1 the record may
 *     hold a part of the answer and must be ignored. There is no other error.
 *     (The filter of the BIOS power-on self test always answers -1.)
 *  4. Untouched fields. A filter writes only the fields that its event calls
 *     for. Every other field, the reserved bytes, the unused OID elements and
 *     the bytes behind a text's NUL keep what the caller had there. There are
 *     two exceptions, in which the bytes behind the NUL may be the end of a
 *     longer text that the filter wrote first: the description of a clear that
 *     is made from the raise text by cutting it at a colon, and the DN of a
 *     power-supply event that turns out to affect another object.
 *  5. Strings. Texts are NUL-terminated and never longer than their field; a
 *     longer text is cut. The sensor name of an event is read to its NUL, so
 *     its 20 bytes must contain one. Texts are plain bytes; the library's own
 *     are ASCII, and every blank and misspelling in them is meant.
 *  6. Threads. One call at a time, from one thread at a time: the state is not
 *     locked, and every time stamp sets the process-wide "TZ" and the C
 *     library's zone.
 *  7. State. Which units are missing, and the last state of each sensor, are
 *     remembered for as long as the library is loaded. It begins at zero, is
 *     never reset, and is lost when the library is unloaded.
 *  8. Host. The process that loads the library defines the services of
 *     services.h and, if it has such sensors, the three host tables of
 *     tables.h. Both must be visible to the dynamic linker: a program that
 *     links to the library shows them by itself, one that loads it with
 *     dlopen() is linked with -rdynamic.
 *  9. Numbers. All fields are in the byte order of the machine; the shipped
 *     targets are little-endian. Layout and sizes are frozen.
 */
#ifndef POLAIGA_POLAIGA_H
#define POLAIGA_POLAIGA_H

#include <polaiga/filters.h>
#include <polaiga/records.h>
#include <polaiga/services.h>
#include <polaiga/tables.h>

#endif
