/** Node accesses, whatever the backend: counted, struck by faults, and recorded in the journal. */
#pragma once

#include "gen_api.h"
#include "injection/effects.h"

#include <string_view>

namespace injection
{

enum class AccessKind { Read, Write };

/** Called when an access has passed its checks and is about to reach the camera: counts it and
 *  injects the faults that are due. May raise anything and may take long. Without any fault it
 *  costs a count and one relaxed load. */
GEVPLAT_API void InjectFaults(AccessKind kind, const char* feature, const char* serial,
                              Effects& effects);

/** One relaxed load. Texts for the calls below are made only when it says yes. */
GEVPLAT_API bool JournalIsOn();
/** "Width=1920"; ranges as "Width.Min=16" with ".Min" for `range`. */
GEVPLAT_API void JournalRead(std::string_view feature, std::string_view range,
                             std::string_view value);
/** "Width=640" */
GEVPLAT_API void JournalWrite(std::string_view feature, std::string_view value);
/** "ChunkEnable:RW", of an entry "ChunkSelector.Gain:RW". */
GEVPLAT_API void JournalMode(std::string_view feature, std::string_view mode);
GEVPLAT_API void JournalMode(std::string_view feature, std::string_view entry,
                             std::string_view mode);

} // namespace injection
