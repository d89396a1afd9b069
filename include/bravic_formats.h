/* Bravic: nets in the files of other programs. A library on top of bravic.h, in plain C; usable from C89 and C++.

     net_bn net = ReadNetFormat_bn("alarm.bif", NULL, env);
     if (net) WriteNetFormat_bn(net, "alarm.xdsl", NULL);
     while ((error = GetError_ns(env, 4, error)) != NULL) fprintf(stderr, "%s\n", ErrorMessage_ns(error));

   Formats    are named "dne" (Bravic's own), "bif" (interchange format 0.15), "xmlbif" (0.3), "net" (version 5 and
              later), "uai" and "xdsl". docs/formats.md says what each of them holds, what is kept of it and what is
              warned of.
   Errors     Every problem is an error record of the environment, as in bravic.h. What is wrong in a file is headed by
              its name and the line: "alarm.bif:12: parent 'Brnoch' of node 'Dyspnea' is no node". All problems of a
   file are told; those of danger 5 make it refused as a whole, those of danger 4 are warnings. Common to all: 800 to
              810, and what the core reports.
   Names      that are not legal in a net are made so by one rule (docs/formats.md); the original spelling is kept at
              the net, node or state (GetNodeText_bn) and is written again where the format takes it.
   Spelling   Every function is exported under its name here and under the same name in capitals. */
#ifndef BRAVIC_FORMATS_H
#define BRAVIC_FORMATS_H

#include "bravic.h"

#if defined(_WIN32)
#if defined(BRAVIC_FORMATS_BUILDING) || defined(BRAVIC_STATIC)
#define BRAVIC_FORMATS_API
#else
#define BRAVIC_FORMATS_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define BRAVIC_FORMATS_API __attribute__((visibility("default")))
#else
#define BRAVIC_FORMATS_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Reads a net from a file. format: one of the names above, or NULL for what the file's content tells.
   Answers the net; NULL on failure: 800 (no such format), 802 (no known content), 803, 807 (the file), 811 to 866 (what
   is wrong in it). Nothing is left of a net that was refused; "dne" alone is read as ReadNet_bn reads it, which leaves
   out what cannot be read. To be freed by FreeNet_bn. */
BRAVIC_FORMATS_API net_bn BRAVIC_CALL ReadNetFormat_bn(const char* path, const char* format, environ_ns env);

/* Writes the net into a file, which is replaced only once all is written. format: NULL for what the extension tells:
   .dne .bif .bifxml .xml .net .uai .xdsl. What the format cannot hold is listed in one warning (880). Answers 0; -1 on
   failure, with the old file as it was: 801 (no known extension), 803, 808 (the file), 881 to 884 (what the format
   cannot say at all). */
BRAVIC_FORMATS_API int BRAVIC_CALL WriteNetFormat_bn(net_bn net, const char* path, const char* format);

/* As ReadNetFormat_bn, from a text in memory. text [length]: needs no closing zero. name: what messages call it, and
   where a net without a name has its name from; may be NULL. (804) */
BRAVIC_FORMATS_API net_bn BRAVIC_CALL ReadNetFormatText_bn(const char* text, long length, const char* format,
                                                           const char* name, environ_ns env);

/* Writes into text [size] what WriteNetFormat_bn writes into a file, and a closing zero. format: not NULL (805). text:
   NULL only asks. Answers the bytes needed, the closing zero included; where that is more than size nothing is written.
   Negative on failure, with nothing written. */
BRAVIC_FORMATS_API long BRAVIC_CALL WriteNetFormatText_bn(net_bn net, const char* format, char* text, long size);

/* Enters the findings of one case of a UAI file of findings (.evid), on top of those there are. A variable of that
   number is the node of the name "X" and the number, else the one that UAI files have in that place, in the order of
   GetNetNodes_bn. number: of the case, from 1. Answers the number of findings entered; -1 on failure: 803, 807 (the
   file), 864, 865, 890, 891, or what EnterFinding_bn refuses; nothing was entered then. */
BRAVIC_FORMATS_API int BRAVIC_CALL ReadFindingsFormat_bn(net_bn net, const char* path, long number);

#ifdef __cplusplus
}
#endif

#endif
