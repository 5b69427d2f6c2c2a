#pragma once
#include <sys/types.h>
