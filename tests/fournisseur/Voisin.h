#ifndef VOISIN_H
#define VOISIN_H

#include <iosfwd>

/// All that the library may ask of a sibling record.
#define VOISIN(CLASSE)                                                                                       \
    struct CLASSE##_v3_0_0;                                                                                  \
    class CLASSE                                                                                             \
    {                                                                                                        \
      public:                                                                                                \
        CLASSE(const CLASSE&);                                                                               \
        CLASSE(const CLASSE##_v3_0_0&);                                                                      \
        ~CLASSE();                                                                                           \
        CLASSE##_v3_0_0 construireObjetSpecifique_v3_0_0() const;                                            \
        void definirVersionValide_v3_0_0();                                                                  \
    };                                                                                                       \
    std::ostream& operator<<(std::ostream&, const CLASSE&)

#endif
