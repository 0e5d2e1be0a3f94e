// The number of gdi_plus.manifest among the module's resources; for the resource compiler, too.
// Numbers up to 16 are those that Windows itself looks for.
#pragma once

#define TAGSMITH_GDI_PLUS_MANIFEST 17
