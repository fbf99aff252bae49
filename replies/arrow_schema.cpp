#include "replies/arrow_schema.h"

#include <memory>

namespace replies {
namespace {

// What a schema of this file points to.
struct SchemaParts {
  std::string format;
  std::string name;
  std::string metadata;
  std::vector<ArrowOwner<ArrowSchema>> children;
  std::vector<ArrowSchema*> pointers;
};

void ReleaseParts(ArrowSchema* schema) {
  schema->release = nullptr;
  delete static_cast<SchemaParts*>(schema->private_data);
}

}  // namespace

ArrowSchema MakeArrowSchema(const ArrowField& field) {
  auto parts = std::make_unique<SchemaParts>();
  parts->format = field.format;
  parts->name = field.name;
  if (!field.metadata.empty()) parts->metadata = EncodeArrowMetadata(field.metadata);
  for (const ArrowField& child : field.children)
    parts->children.emplace_back(MakeArrowSchema(child));
  for (ArrowOwner<ArrowSchema>& child : parts->children)
    parts->pointers.push_back(child.get());
  ArrowSchema schema{};
  schema.format = parts->format.c_str();
  schema.name = parts->name.c_str();
  schema.metadata = field.metadata.empty() ? nullptr : parts->metadata.data();
  schema.flags = field.nullable ? ARROW_FLAG_NULLABLE : 0;
  schema.n_children = static_cast<int64_t>(parts->pointers.size());
  schema.children = parts->pointers.data();
  schema.release = ReleaseParts;
  schema.private_data = parts.release();
  return schema;
}

}  // namespace replies
