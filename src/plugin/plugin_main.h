// Start-up: binding to the host and registering the classes.
#pragma once

#include <cstdint>
#include <string>

#include "plugin/member_table.h"

extern const char* gpartname;    // "Image"
extern const char* gpluginname;  // "Images"
extern int64_t gplugin;          // 1

// The class-definition version for a host version: 13 from 2013.04, 12 from 2013.03, 11 from
// 2013.0, 10 from 2012.0, else 9.
int64_t ControlVersionForHost(double version);

// The page size file-mapped images use: the system's when above 4096, else 4096.
int64_t GranularityForPageSize(int64_t pageSize);

// Class flags and member flags as a host of `version` expects them.
uint32_t AdaptClassFlags(uint32_t flags, double version);
uint32_t AdaptMemberFlags(uint32_t flags, double version);

// "Name = 12" for values below 100, "Name = &h000000FF" otherwise.
std::string ConstantDeclaration(const char* name, int64_t value);

// Writes the value of every constant whose declaration has no "=" into its declaration, from the
// contributed constant of the same index. The texts live for the process.
void RewriteConstants(const NamedConstant* values, REALconstant* constants, size_t count);

// Adapts a definition to the running host and registers it.
void MyREALRegisterClass(REALclassDefinition* definition);
