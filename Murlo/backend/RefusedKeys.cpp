#include "backend/RefusedKeys.h" // for its meta object
