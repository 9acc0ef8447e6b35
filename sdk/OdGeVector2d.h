#ifndef QX_SDK_ODGEVECTOR2D_H
#define QX_SDK_ODGEVECTOR2D_H

#include "OdGePoint2d.h"

#endif
