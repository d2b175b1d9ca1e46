// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Number of heap allocations of this process so far, Qt's own included.
long long allocationCount();
