// The registry verbs of qxreg, after the Windows reg command: query, add, delete, copy, export, import.

#ifndef QX_TOOLS_QXREG_REGISTRY_H
#define QX_TOOLS_QXREG_REGISTRY_H

#include "qxreg_cli.h"

#include <span>

namespace qxreg {

std::span<const Verb> registryVerbs();

}  // namespace qxreg

#endif
