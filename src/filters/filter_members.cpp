#include "filters/filter_members.h"

void AddFilterMembers(ClassMembers& members) { (void)members; }
