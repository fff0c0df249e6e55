// How the plug-in's one entry point is exported: by visibility in ELF and Mach-O libraries, by
// dllexport in a DLL (where the linker would otherwise export every function).
#pragma once

#if defined(_WIN32)
#define XQT_EXPORT __declspec(dllexport)
#else
#define XQT_EXPORT __attribute__((visibility("default")))
#endif
