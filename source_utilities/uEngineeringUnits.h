// The SI prefixes and the binary prefixes as numbers.
#pragma once

#include "source_utilities/Export.h"

namespace ORM_LUX {

// Each value is the double nearest to the number that the prefix stands for.
class ORM_EXPORT uEngineeringUnits {
public:
    uEngineeringUnits();
    virtual ~uEngineeringUnits();

    static const double yotta, zetta, exa, peta, tera, giga, mega, kilo;
    static const double milli, micro, nano, pico, femto, atto, zepto, yocto;
    static const double kibi, mebi, gibi, tebi, pebi, exbi, zebi, yobi;
};

}  // namespace ORM_LUX
