#pragma once
// How deeply a PDF nests its dictionaries and arrays, measured on the raw bytes before PoDoFo
// parses them: PoDoFo's tokenizer reads nested objects by recursion, so a file nested deeply
// enough overflows the stack of whatever thread loads it.

#include <cstddef>

namespace Vesk::Crypto {

// The deepest nesting a PDF may have. PoDoFo 0.9.8 takes about 480 bytes of stack per level of
// dictionaries (an 8 MiB stack overflows at about 17,700 levels), so 256 levels take about
// 120 KiB and leave room on a 512 KiB thread stack; real documents nest a few levels deep.
inline constexpr std::size_t kMaxPdfNesting = 256;

// True when no dictionary or array of the PDF nests deeper than `limit`. One linear pass: the
// contents of strings, comments and stream bodies are skipped; a stream body is found by its
// /Length (direct, or an integer object it refers to) when "endstream" follows it, else by
// searching "endstream". The body of an object
// stream (/Type /ObjStm, or a /First key) is decoded and checked the same way; one coded other
// than by plain Flate, or that does not decode, fails the check. In an encrypted file the object
// streams are decrypted first, with the empty user password; a file whose encryption is unknown
// or needs a password, and that has object streams, fails the check. Besides, "<<" and ">>" counted
// over every byte (of the file and of each decoded object stream) may not nest deeper than
// `limit` + 128: PoDoFo parses objects wherever the cross-reference data points. Only the part of
// a delimited stream body before its first "obj", "trailer" or "xref", where no parse can start,
// is left out of that count.
bool pdfNestingWithin(const char* data, std::size_t size, std::size_t limit = kMaxPdfNesting);

}  // namespace Vesk::Crypto
