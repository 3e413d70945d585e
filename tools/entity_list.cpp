#include "entity_list.h"

namespace Tool {

std::vector<Entity> ListEntities(const MIME::Part& message) {
    std::vector<Entity> listed;
    std::vector<Entity> stack = {{&message, Entity::kNoParent, 0}};
    while (!stack.empty()) {
        const Entity next = stack.back();
        stack.pop_back();
        const size_t position = listed.size();
        listed.push_back(next);
        for (unsigned i = next.part->parts.GetCount(); i-- > 0;) {
            stack.push_back({next.part->parts[i], position, next.depth + 1});
        }
    }
    return listed;
}

}  // namespace Tool
