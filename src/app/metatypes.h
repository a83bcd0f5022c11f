#pragma once

// Registers by name every type that crosses a thread or lives in a setting.
void registerMetaTypes();
