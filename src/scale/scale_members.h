#pragma once

#include "plugin/member_table.h"

// Registers the scaling members (Scale, ScaleMT, ScaleFast) of PictureXQT.
void AddScaleMembers(ClassMembers& members);
