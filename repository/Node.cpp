// SPDX-License-Identifier: Apache-2.0
#include "repository/Node.h"

namespace database_provider::repository {

using database_client::ArrayScope;
using database_client::GroupScope;

void Node::writeTo(ObjectProperties& document, const std::string& key) const {
  struct Write {
    ObjectProperties& document;
    const std::string& key;

    void operator()(std::nullptr_t) const { document.setValueNull(key); }
    void operator()(bool value) const { document.setValueBool(key, value); }
    void operator()(int value) const { document.setValueInt32(key, value); }
    void operator()(double value) const { document.setValueDouble(key, value); }
    void operator()(const std::string& value) const { document.setValueString(key, value); }
    void operator()(const ObjectProperties& value) const { document.include(key, value); }
    void operator()(const Object& value) const {
      const GroupScope group(document, key);
      for (const auto& [name, node] : value.fields) node.writeTo(document, name);
    }
    void operator()(const Array& value) const {
      const ArrayScope elements(document, key);
      for (std::size_t i = 0; i < value.elements.size(); ++i) value.elements[i].writeTo(document, std::to_string(i));
    }
  };
  std::visit(Write{document, key}, value_);
}

ObjectProperties toDocument(const Node::Object& object) {
  ObjectProperties result;
  for (const auto& [name, node] : object.fields) node.writeTo(result, name);
  return result;
}

}  // namespace database_provider::repository
