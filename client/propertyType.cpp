// SPDX-License-Identifier: Apache-2.0
#include "client/propertyType.h"

namespace database_client {

using bson::Type;

PropertyType propertyType(Type type) {
  switch (type) {
    case Type::document:
      return PropertyType::group;
    case Type::array:
      return PropertyType::array;
    case Type::objectId:
      return PropertyType::id;
    case Type::string:
      return PropertyType::string;
    case Type::boolean:
      return PropertyType::boolean;
    case Type::int32:
      return PropertyType::int32;
    case Type::int64:
      return PropertyType::int64;
    case Type::real:
      return PropertyType::real;
    case Type::date:
      return PropertyType::time;
    case Type::null:
      return PropertyType::null;
    case Type::binary:
      return PropertyType::binary;
    case Type::regex:
      return PropertyType::regularExpression;
    case Type::code:
      return PropertyType::code;
    case Type::codeWithScope:
      return PropertyType::codeWithScope;
    case Type::timestamp:
      return PropertyType::timestamp;
    case Type::decimal128:
      return PropertyType::decimal128;
    case Type::minKey:
      return PropertyType::minKey;
    case Type::maxKey:
      return PropertyType::maxKey;
    case Type::symbol:
      return PropertyType::symbol;
    case Type::dbPointer:
      return PropertyType::dbPointer;
    case Type::undefined:
      return PropertyType::undefinedValue;
  }
  return PropertyType::undefined;
}

}  // namespace database_client
