#include "filters/fill_members.h"

void AddFillMembers(ClassMembers& members) { (void)members; }
