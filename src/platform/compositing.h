#pragma once

namespace platform {

// Whether windows with a translucent background are blended onto what lies
// under them. Without that, their transparent pixels show black, so rounded
// and shadowed popups fall back to plain opaque ones.
bool isCompositingActive();

} // namespace platform
