#include "telling_alerts/telling.h"

#include <gtest/gtest.h>
