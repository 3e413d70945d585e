#pragma once

namespace KivGuiBase {

/// Keeps the base layer alive in a module: the last one that ends frees what the layer holds for
/// the whole process. Calls after that still work; what they allocate is then never freed.
class BaseInitializer {
public:
    BaseInitializer() noexcept;
    ~BaseInitializer();
    BaseInitializer(const BaseInitializer&) = delete;
    BaseInitializer& operator=(const BaseInitializer&) = delete;
};

/// The lock under which a module is attached to, and detached from, the process and its threads.
/// Re-entrant: a recorder or an attached module may cause another attachment.
void EnterInitSection() noexcept;
void LeaveInitSection() noexcept;

}  // namespace KivGuiBase
