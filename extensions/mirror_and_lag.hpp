// Steps through mirror session tables and LAG tables, and reads and writes mirror entities as text.
#pragma once

#include "extensions/memory.hpp"
#include "interface/mirror_records.h"
#include "interface/status_records.h"

namespace vswitchpy {

// No step tests for the end of its table: scripts take exactly as many as the counts of the table say.
namespace mirror {

DVMirrorSession *first_session(DVMirrorSessionTable *self);
// Entity `index` of the pool that all sessions of the table share, behind the last session.
DVMirrorEntity *session_entity(DVMirrorSessionTable *self, int index);
DVMirrorEntity *next_entity(DVMirrorEntity *self);

// The value in the form that the entity's type asks for; empty for an unknown type.
TextObject entity_text(DVMirrorEntity *self);
// Stores a text as the entity's type reads it. A text that does not parse, or none, leaves the value as it is.
void set_entity_text(DVMirrorEntity *self, char const *text);

// Names of the interface without an effect.
void encap_type();
void assertion();

}  // namespace mirror

namespace lag {

VSLAGStatus *first(VSLAGTable *self);
VSLAGStatus *next(VSLAGStatus *self);
TextObject name(VSLAGStatus *self);

}  // namespace lag
}  // namespace vswitchpy
