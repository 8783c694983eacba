#include "link/link-event.h"

namespace detail {

const char* ReflectanceTypeName(ReflectanceType type)
{
    switch (type) {
    case ReflectanceType::tiny: return "tiny";
    case ReflectanceType::huge: return "huge";
    case ReflectanceType::normal: break;
    }
    return "normal";
}

} // namespace detail
