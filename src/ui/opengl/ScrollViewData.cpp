#include "src/ui/opengl/ScrollViewData.h"

#include <cmath>

bool ScrollViewData::advance(int milliseconds) {
    const float wayX = targetX - offsetX;
    const float wayY = targetY - offsetY;
    const float length = std::hypot(wayX, wayY);
    const float step = velocity * static_cast<float>(milliseconds);
    // Written so that values that are no numbers arrive too.
    if (velocity > 0.0F && length > step) {
        offsetX += wayX * (step / length);
        offsetY += wayY * (step / length);
        return false;
    }
    offsetX = targetX;
    offsetY = targetY;
    return true;
}
