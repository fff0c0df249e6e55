#pragma once

#include "plugin/member_table.h"

// Registers the filters that take a dest (point filters, dither, unsharp) of PictureXQT.
void AddFilterMembers(ClassMembers& members);
