// ds_stack, ds_queue and ds_priority against simple models, ds_exists, the ids shared by every
// kind, serial round trips of each kind, and shutdown.
#include <deque>
#include <random>
#include <string>
#include <vector>

#include "ds_test_fixture.h"
#include "storage/ds_core.h"

namespace value_test {
namespace {

using DsStackQueueTest = DsBuiltinsTest;

TEST_F(DsStackQueueTest, StackIsLastInFirstOut) {
  const double id = Call("ds_stack_create")->val;
  Call("ds_stack_push", Args({Val::Real(id), Val::Real(1), Val::Str("two"), Val::Real(3)}));
  EXPECT_EQ(Call("ds_stack_top", Args({Val::Real(id)}))->val, 3.0);
  EXPECT_EQ(Call("ds_stack_pop", Args({Val::Real(id)}))->val, 3.0);
  EXPECT_EQ(Call("ds_stack_pop", Args({Val::Real(id)})).text(), "two");
  EXPECT_EQ(Call("ds_stack_size", Args({Val::Real(id)}))->val, 1.0);
  Call("ds_stack_pop", Args({Val::Real(id)}));
  EXPECT_EQ(Call("ds_stack_pop", Args({Val::Real(id)})).kind(), kRVUndefined);
  EXPECT_EQ(Call("ds_stack_top", Args({Val::Real(id)})).kind(), kRVUndefined);
  EXPECT_EQ(Call("ds_stack_empty", Args({Val::Real(id)}))->val, 1.0);
}

// A long random run of queue operations against std::deque: the head index, the moves down and
// the growth must never lose or reorder a value.
TEST_F(DsStackQueueTest, QueueMatchesADequeOverALongRun) {
  const double id = Call("ds_queue_create")->val;
  std::deque<double> model;
  std::mt19937 random(7);
  double next = 0;
  for (int step = 0; step < 3000; ++step) {
    if (random() % 3 != 0) {
      Call("ds_queue_enqueue", Args({Val::Real(id), Val::Real(next)}));
      model.push_back(next++);
    } else {
      const Val taken = Call("ds_queue_dequeue", Args({Val::Real(id)}));
      if (model.empty()) {
        EXPECT_EQ(taken.kind(), kRVUndefined);
      } else {
        EXPECT_EQ(taken->val, model.front());
        model.pop_front();
      }
    }
    ASSERT_EQ(Call("ds_queue_size", Args({Val::Real(id)}))->val, static_cast<double>(model.size()));
    if (!model.empty()) {
      ASSERT_EQ(Call("ds_queue_head", Args({Val::Real(id)}))->val, model.front());
      ASSERT_EQ(Call("ds_queue_tail", Args({Val::Real(id)}))->val, model.back());
    }
  }
  const double copy = Call("ds_queue_create")->val;
  Call("ds_queue_copy", Args({Val::Real(copy), Val::Real(id)}));
  const Val text = Call("ds_queue_write", Args({Val::Real(id)}));
  EXPECT_EQ(Call("ds_queue_write", Args({Val::Real(copy)})).text(), text.text());
  const double back = Call("ds_queue_create")->val;
  Call("ds_queue_read", Args({Val::Real(back), text}));
  for (double expected : model) EXPECT_EQ(Call("ds_queue_dequeue", Args({Val::Real(back)}))->val, expected);
}

TEST_F(DsStackQueueTest, PriorityScansWithEarliestWinningTies) {
  const double id = Call("ds_priority_create")->val;
  const struct {
    const char* value;
    double priority;
  } entries[] = {{"a", 5}, {"b", 1}, {"c", 9}, {"d", 1}, {"e", 9}};
  for (const auto& e : entries) Call("ds_priority_add", Args({Val::Real(id), Val::Str(e.value), Val::Real(e.priority)}));
  EXPECT_EQ(Call("ds_priority_find_min", Args({Val::Real(id)})).text(), "b");
  EXPECT_EQ(Call("ds_priority_find_max", Args({Val::Real(id)})).text(), "c");
  EXPECT_EQ(Call("ds_priority_find_priority", Args({Val::Real(id), Val::Str("e")}))->val, 9.0);
  EXPECT_EQ(Call("ds_priority_find_priority", Args({Val::Real(id), Val::Str("z")})).kind(), kRVUndefined);

  // Deleting "b" moves the last entry, "e", into its place: "e" now comes before "c".
  EXPECT_EQ(Call("ds_priority_delete_min", Args({Val::Real(id)})).text(), "b");
  EXPECT_EQ(Call("ds_priority_find_max", Args({Val::Real(id)})).text(), "e");
  Call("ds_priority_change_priority", Args({Val::Real(id), Val::Str("a"), Val::Real(100)}));
  EXPECT_EQ(Call("ds_priority_delete_max", Args({Val::Real(id)})).text(), "a");
  Call("ds_priority_delete_value", Args({Val::Real(id), Val::Str("d")}));
  EXPECT_EQ(Call("ds_priority_size", Args({Val::Real(id)}))->val, 2.0);

  const Val text = Call("ds_priority_write", Args({Val::Real(id)}));
  const double back = Call("ds_priority_create")->val;
  Call("ds_priority_read", Args({Val::Real(back), text}));
  EXPECT_EQ(Call("ds_priority_write", Args({Val::Real(back)})).text(), text.text());
  Call("ds_priority_clear", Args({Val::Real(back)}));
  EXPECT_EQ(Call("ds_priority_delete_min", Args({Val::Real(back)})).kind(), kRVUndefined);
}

TEST_F(DsStackQueueTest, ExistsChecksKindAndId) {
  const double map = Call("ds_map_create")->val;
  const double grid = Call("ds_grid_create", Args({Val::Real(2), Val::Real(2)}))->val;
  const struct {
    double id;
    double type;
    double expected;
  } rows[] = {{map, 1, 1}, {map, 2, 0}, {grid, 5, 1}, {grid, 6, 0}, {map, 0, 0}, {map, 7, 0}, {-1, 1, 0}, {40, 1, 0}};
  for (const auto& row : rows) {
    EXPECT_EQ(Call("ds_exists", Args({Val::Real(row.id), Val::Real(row.type)}))->val, row.expected)
        << row.id << " type " << row.type;
  }
}

TEST_F(DsStackQueueTest, EachKindHasItsOwnIdsAndFreeAllEmptiesThem) {
  const char* creates[] = {"ds_stack_create", "ds_queue_create", "ds_priority_create", "ds_list_create", "ds_map_create"};
  for (const char* name : creates) EXPECT_EQ(Call(name)->val, 0.0) << name;
  EXPECT_EQ(Call("ds_stack_create")->val, 1.0);
  DS_FreeAll();
  for (DsKind kind : {kDsMap, kDsList, kDsStack, kDsQueue, kDsGrid, kDsPriority}) EXPECT_EQ(DS_TableLength(kind), 0);
  EXPECT_EQ(Call("ds_stack_create")->val, 0.0);
}

TEST_F(DsStackQueueTest, RegistrationOrderStartsWithTheSharedBuiltins) {
  Function_Clear();
  DS_RegisterBuiltins();
  const char* first[] = {"ds_exists", "ds_set_precision", "ds_map_create"};
  for (int32_t i = 0; i < 3; ++i) EXPECT_STREQ(Function_Row(i)->name, first[i]);
  int32_t grid_create = -1;
  int32_t stack_create = -1;
  ASSERT_TRUE(Function_Find("ds_grid_create", &grid_create));
  ASSERT_TRUE(Function_Find("ds_stack_create", &stack_create));
  EXPECT_LT(stack_create, grid_create);
  EXPECT_STREQ(Function_Row(Function_Count() - 1)->name, "ds_grid_read");
}

}  // namespace
}  // namespace value_test
