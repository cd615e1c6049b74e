#pragma once

#include <QtCore/qglobal.h>

#if defined(VESK_BASE_LIBRARY)
#define VESK_BASE_EXPORT Q_DECL_EXPORT
#else
#define VESK_BASE_EXPORT Q_DECL_IMPORT
#endif
