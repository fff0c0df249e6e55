#include "plugin/class_tables.h"

#include "composite/composite_members.h"
#include "filters/fill_members.h"
#include "filters/filter_members.h"
#include "geometry/geometry_members.h"
#include "image/image_class_data.h"
#include "image/image_members.h"
#include "image/image_storage.h"
#include "image/picture_factory.h"
#include "picture/picture_members.h"
#include "plugin/class_registry.h"
#include "plugin/debug_log.h"
#include "scale/scale_members.h"

namespace {

ClassMembers& PictureMembers() {
  static ClassMembers members;
  return members;
}

ClassMembers& FactoryMembers() {
  static ClassMembers members;
  return members;
}

// The constant records handed to the host, one per contributed constant; start-up writes the
// values into their declarations.
std::vector<REALconstant>& PictureConstants() {
  static std::vector<REALconstant> constants;
  return constants;
}

std::vector<REALconstant>& FactoryConstants() {
  static std::vector<REALconstant> constants;
  return constants;
}

// The attribute that keeps a member out of the host's lists.
REALattribute gHidden[] = {{"Hidden", ""}};

template <class T>
T* Data(std::vector<T>& entries) {
  return entries.empty() ? nullptr : entries.data();
}

template <class T>
size_t Count(const std::vector<T>& entries) {
  return entries.size();
}

void Fill(REALclassDefinition& definition, ClassMembers& members,
          std::vector<REALconstant>& constants) {
  definition.properties = Data(members.properties);
  definition.propertyCount = Count(members.properties);
  definition.methods = Data(members.methods);
  definition.methodCount = Count(members.methods);
  definition.events = Data(members.events);
  definition.eventCount = Count(members.events);
  constants.assign(members.constants.size(), REALconstant{});
  for (size_t i = 0; i < constants.size(); ++i) {
    constants[i].declaration = members.constants[i].declaration;
  }
  definition.constants = Data(constants);
  definition.constantCount = Count(constants);
  definition.sharedProperties = Data(members.sharedProperties);
  definition.sharedPropertyCount = Count(members.sharedProperties);
  definition.sharedMethods = Data(members.sharedMethods);
  definition.sharedMethodCount = Count(members.sharedMethods);
}

}  // namespace

void BuildClassTables() {
  ClassMembers& pictures = PictureMembers();
  pictures = ClassMembers{};
  AddImageMembers(pictures);
  AddCompositeMembers(pictures);
  AddScaleMembers(pictures);
  AddFillMembers(pictures);
  AddFilterMembers(pictures);
  AddGeometryMembers(pictures);
  AddPictureMembers(pictures);
  REALproperty debugging = PropertyEntry("Debugging", "Boolean", kSharedPropertyFlags,
                                         Entry(&getDebugging), Entry(&setDebugging));
  debugging.attributes = gHidden;
  debugging.attributeCount = 1;
  pictures.sharedProperties.insert(pictures.sharedProperties.begin(), debugging);

  REALclassDefinition& pictureClass = PictureXQTClass();
  pictureClass = REALclassDefinition{};
  pictureClass.name = "PictureXQT";
  pictureClass.dataSize = sizeof(ImageClassData);
  pictureClass.destructor = Entry(&ImageDestructor);
  pictureClass.mFlags = REALconsoleSafe;
  Fill(pictureClass, pictures, PictureConstants());

  ClassMembers& factories = FactoryMembers();
  factories = ClassMembers{};
  AddFactoryMembers(factories);
  REALclassDefinition& factoryClass = PictureFactoryXQTClass();
  factoryClass = REALclassDefinition{};
  factoryClass.name = "PictureFactoryXQT";
  factoryClass.mFlags = REALconsoleSafe;
  Fill(factoryClass, factories, FactoryConstants());
}

const ClassMembers& PictureXQTMembers() { return PictureMembers(); }
const ClassMembers& PictureFactoryXQTMembers() { return FactoryMembers(); }
