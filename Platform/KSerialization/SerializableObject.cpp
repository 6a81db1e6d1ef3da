#include "KSerialization/SerializableObject.h"

namespace KSerialization {

SerializableObject::~SerializableObject() = default;

} // namespace KSerialization
