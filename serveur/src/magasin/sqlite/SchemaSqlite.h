#ifndef SCHEMASQLITE_H
#define SCHEMASQLITE_H

namespace serveur {

// What the header of a database of flights says.
constexpr int VERSION_SCHEMA = 1;
constexpr int IDENTIFIANT_APPLICATION = 0x63647630; // "cdv0"

} // namespace serveur

#endif
