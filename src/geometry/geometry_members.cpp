#include "geometry/geometry_members.h"

void AddGeometryMembers(ClassMembers& members) { (void)members; }
