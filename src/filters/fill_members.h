#pragma once

#include "plugin/member_table.h"

// Registers the fills and whole-image pixel operations of PictureXQT.
void AddFillMembers(ClassMembers& members);
