#include "source_utilities/uEngineeringUnits.h"

namespace ORM_LUX {

uEngineeringUnits::uEngineeringUnits() = default;
uEngineeringUnits::~uEngineeringUnits() = default;

const double uEngineeringUnits::yotta = 1e24;
const double uEngineeringUnits::zetta = 1e21;
const double uEngineeringUnits::exa = 1e18;
const double uEngineeringUnits::peta = 1e15;
const double uEngineeringUnits::tera = 1e12;
const double uEngineeringUnits::giga = 1e9;
const double uEngineeringUnits::mega = 1e6;
const double uEngineeringUnits::kilo = 1e3;

const double uEngineeringUnits::milli = 1e-3;
const double uEngineeringUnits::micro = 1e-6;
const double uEngineeringUnits::nano = 1e-9;
const double uEngineeringUnits::pico = 1e-12;
const double uEngineeringUnits::femto = 1e-15;
const double uEngineeringUnits::atto = 1e-18;
const double uEngineeringUnits::zepto = 1e-21;
const double uEngineeringUnits::yocto = 1e-24;

const double uEngineeringUnits::kibi = 0x1p10;
const double uEngineeringUnits::mebi = 0x1p20;
const double uEngineeringUnits::gibi = 0x1p30;
const double uEngineeringUnits::tebi = 0x1p40;
const double uEngineeringUnits::pebi = 0x1p50;
const double uEngineeringUnits::exbi = 0x1p60;
const double uEngineeringUnits::zebi = 0x1p70;
const double uEngineeringUnits::yobi = 0x1p80;

}  // namespace ORM_LUX
