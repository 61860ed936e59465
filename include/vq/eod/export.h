// Symbol visibility of the library's public interface.
//
// The library is built with hidden visibility; every class and free function that belongs to
// the interface carries VQ_EOD_API, which also exports type information, so that exceptions and
// records can cross the boundary between the library and the programs that link it.
#pragma once

#if defined(_WIN32)
#if defined(VQ_CORELOG_BUILDING)
#define VQ_EOD_API __declspec(dllexport)
#else
#define VQ_EOD_API __declspec(dllimport)
#endif
#else
#define VQ_EOD_API __attribute__((visibility("default")))
#endif
