// The interfaces of objects that write themselves to a stream and read themselves back.

#pragma once

#include "KBase/Export.h"

namespace KSerialization {

class ReadDataStream;
class WriteDataStream;

class KCODEPAGE_EXPORT SerializableObject {
public:
    virtual void Serialize(WriteDataStream& stream) const = 0;
    virtual void DeSerialize(ReadDataStream& stream) = 0;

    SerializableObject() = default;
    SerializableObject(const SerializableObject&) = default;
    SerializableObject& operator=(const SerializableObject&) = default;
    virtual ~SerializableObject();
};

// An object that tells which one of a family it is.
class KCODEPAGE_EXPORT PolymorphicSerializableObject {
public:
    virtual int GetType() const = 0;

    PolymorphicSerializableObject() = default;
    PolymorphicSerializableObject(const PolymorphicSerializableObject&) = default;
    PolymorphicSerializableObject& operator=(const PolymorphicSerializableObject&) = default;

protected:
    ~PolymorphicSerializableObject() = default;
};

} // namespace KSerialization
