// The whole component, for hosts that embed it.
#pragma once

#include "ado/ado.h"
#include "compare/compare_schema.h"
#include "data/table_comparison.h"
#include "diff/compare_diff.h"
#include "host/host.h"
#include "model/collections.h"
#include "model/diff_schema.h"
#include "model/schema.h"
#include "model/text.h"
#include "reader/ase_fetch.h"
#include "reader/browsing.h"
#include "settings/applies_to.h"
#include "settings/comparison_options.h"
