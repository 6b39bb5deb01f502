#pragma once

#include "platform/STBBlitRequest.h"

namespace lumo {

// Carries out a blit between Surfaces: STBGraphicsInterface::blit().
int blit(const STBBlitRequest& request);

} // namespace lumo
