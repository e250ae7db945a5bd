#include "telling/change_window.h"

#include <gtest/gtest.h>

namespace polaiga::mqtt {
namespace change_window_test {

TEST(ChangeWindow, BeginsWhereItIsTold) {
  ChangeWindow window(ConfirmedBy::kBroker);
  window.begin(12, 10);
  EXPECT_EQ(window.through(), 12);
  EXPECT_EQ(window.next_after(), 12);
  EXPECT_EQ(window.previous(), 10);
  EXPECT_EQ(window.unconfirmed(), 0U);
  EXPECT_EQ(window.open(), 0U);
}

TEST(ChangeWindow, TheBrokerConfirmsInAnyOrder) {
  ChangeWindow window(ConfirmedBy::kBroker);
  window.begin(0, 0);
  window.sent(1, 101);
  window.sent(2, 102);
  window.sent(4, 104);
  EXPECT_EQ(window.previous(), 4);
  EXPECT_EQ(window.confirmed(102), 0U);
  EXPECT_EQ(window.through(), 0);
  EXPECT_EQ(window.unconfirmed(), 2U);
  EXPECT_EQ(window.confirmed(101), 2U);
  EXPECT_EQ(window.through(), 2);
  EXPECT_EQ(window.confirmed(999), 0U);
  EXPECT_EQ(window.confirmed(101), 0U);
  EXPECT_EQ(window.confirmed(104), 1U);
  EXPECT_EQ(window.through(), 4);
  EXPECT_EQ(window.open(), 0U);
}

TEST(ChangeWindow, WhatNeedNotBeToldGoesWithTheChangeBeforeIt) {
  ChangeWindow window(ConfirmedBy::kBroker);
  window.begin(0, 0);
  window.passed(3);
  EXPECT_EQ(window.through(), 3);
  EXPECT_EQ(window.previous(), 0);
  window.sent(4, 104);
  window.passed(7);
  EXPECT_EQ(window.through(), 3);
  EXPECT_EQ(window.next_after(), 7);
  EXPECT_EQ(window.previous(), 4);
  window.confirmed(104);
  EXPECT_EQ(window.through(), 7);
}

TEST(ChangeWindow, AfterALossItGoesOnAfterWhatHasArrived) {
  ChangeWindow window(ConfirmedBy::kBroker);
  window.begin(0, 0);
  window.sent(1, 101);
  window.passed(2);
  window.sent(3, 103);
  window.confirmed(101);
  window.again();
  EXPECT_EQ(window.next_after(), 2);
  EXPECT_EQ(window.previous(), 1);
  EXPECT_EQ(window.unconfirmed(), 0U);
  EXPECT_EQ(window.confirmed(103), 0U);
  EXPECT_EQ(window.through(), 2);
}

TEST(ChangeWindow, OnlyTheCollectorsWordCounts) {
  ChangeWindow window(ConfirmedBy::kCollector);
  window.begin(0, 0);
  window.sent(1, 101);
  window.sent(2, 102);
  window.sent(4, 104);
  EXPECT_EQ(window.confirmed(101), 0U);
  EXPECT_EQ(window.confirmed(102), 0U);
  EXPECT_EQ(window.through(), 0);
  EXPECT_EQ(window.unconfirmed(), 1U);
  EXPECT_EQ(window.open(), 3U);
  EXPECT_EQ(window.acknowledged(3), 2U);
  EXPECT_EQ(window.through(), 3);
  EXPECT_EQ(window.acknowledged(3), 0U);
  EXPECT_EQ(window.acknowledged(1), 0U);
  EXPECT_EQ(window.open(), 1U);
  EXPECT_EQ(window.acknowledged(4), 1U);
  EXPECT_EQ(window.unconfirmed(), 0U);
  window.again();
  EXPECT_EQ(window.next_after(), 4);
  EXPECT_EQ(window.previous(), 4);
}

TEST(ChangeWindow, ACollectorMayHaveMoreThanWasSentSinceTheStart) {
  ChangeWindow window(ConfirmedBy::kCollector);
  window.begin(10, 10);
  window.sent(11, 111);
  EXPECT_EQ(window.acknowledged(20), 1U);
  EXPECT_EQ(window.through(), 20);
  EXPECT_EQ(window.next_after(), 20);
  EXPECT_EQ(window.previous(), 20);
}

TEST(ChangeWindow, AnAcknowledgementMeansNothingWhenTheBrokersWordCounts) {
  ChangeWindow window(ConfirmedBy::kBroker);
  window.begin(0, 0);
  window.sent(1, 101);
  EXPECT_EQ(window.acknowledged(1), 0U);
  EXPECT_EQ(window.through(), 0);
}

TEST(ChangeWindow, TheLedgerMayBePutBack) {
  ChangeWindow window(ConfirmedBy::kBroker);
  window.begin(98, 98);
  window.sent(99, 99);
  window.sent(100, 100);
  window.put_back(60, 101);
  EXPECT_EQ(window.next_after(), 60);
  EXPECT_EQ(window.through(), 98);
  EXPECT_EQ(window.confirmed(99), 0U);
  EXPECT_EQ(window.through(), 98);
  EXPECT_EQ(window.unconfirmed(), 1U);
  EXPECT_EQ(window.confirmed(101), 1U);
  EXPECT_EQ(window.through(), 60);
  EXPECT_FALSE(window.is_put_back());
}

TEST(ChangeWindow, ACollectorAcknowledgesThatTheLedgerWasPutBack) {
  ChangeWindow window(ConfirmedBy::kCollector);
  window.begin(100, 100);
  window.put_back(60, 101);
  EXPECT_EQ(window.acknowledged_through(), 59);
  EXPECT_EQ(window.acknowledged(59), 0U);
  EXPECT_EQ(window.through(), 100);
  window.again();
  EXPECT_TRUE(window.is_put_back());
  EXPECT_EQ(window.open(), 0U);
  window.put_back(60, 102);
  window.sent(61, 103);
  EXPECT_EQ(window.acknowledged(60), 1U);
  EXPECT_EQ(window.through(), 60);
  EXPECT_FALSE(window.is_put_back());
  EXPECT_EQ(window.acknowledged(61), 1U);
  EXPECT_EQ(window.through(), 61);
}

}  // namespace change_window_test
}  // namespace polaiga::mqtt
