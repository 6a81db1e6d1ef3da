// KCODEPAGE_EXPORT marks what the shared library KCodePage shows to its users; everything else is hidden.

#pragma once

#if defined(_WIN32)
#if defined(KCODEPAGE_BUILDING)
#define KCODEPAGE_EXPORT __declspec(dllexport)
#else
#define KCODEPAGE_EXPORT __declspec(dllimport)
#endif
#else
#define KCODEPAGE_EXPORT __attribute__((visibility("default")))
#endif
