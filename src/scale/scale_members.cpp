#include "scale/scale_members.h"

void AddScaleMembers(ClassMembers& members) { (void)members; }
