#pragma once
// The fixture of the data structure and JSON tests: their builtins registered, the comparison
// precision back at its starting value, and every structure and the script generator's state
// gone after each test.
#include <initializer_list>
#include <vector>

#include "core/random.h"
#include "core/value_test_support.h"
#include "storage/ds_core.h"
#include "storage/fn_ds.h"
#include "storage/fn_json.h"

namespace value_test {

class DsBuiltinsTest : public ValueBuiltinsTest {
 protected:
  void SetUp() override {
    ValueBuiltinsTest::SetUp();
    DS_RegisterBuiltins();
    Json_RegisterBuiltins();
    g_DsPrecision = 0.00000001;
  }
  void TearDown() override {
    Random_Reset();
    DS_FreeAll();
    ValueBuiltinsTest::TearDown();
  }
};

}  // namespace value_test
