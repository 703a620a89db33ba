#ifndef EXCEPTIONCOURANTE_H
#define EXCEPTIONCOURANTE_H

#include <string>

namespace orix {

/// What the exception being handled says of itself, in one line. To be called in a catch block.
std::string texteExceptionCourante();

} // namespace orix

#endif
