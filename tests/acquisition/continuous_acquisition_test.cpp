// The shared acquisition loop's timing rule and failure words.
#include <gtest/gtest.h>

#include "acquisition/continuous_acquisition.h"

TEST(AcqTiming, FirstCompletionSetsBothThenTheSpanWidens) {
  vxAcqTiming timing;
  EXPECT_EQ(timing.shortestMs, 10000.0);
  timing.add(40.0);
  EXPECT_EQ(timing.shortestMs, 40.0);
  EXPECT_EQ(timing.longestMs, 40.0);
  timing.add(55.5);
  timing.add(31.25);
  timing.add(45.0);
  EXPECT_EQ(timing.shortestMs, 31.25);
  EXPECT_EQ(timing.longestMs, 55.5);
  EXPECT_EQ(timing.completed, 4u);

  // One completion slower than 10 s is still the shortest of one.
  vxAcqTiming slow;
  slow.add(12000.0);
  EXPECT_EQ(slow.shortestMs, 12000.0);
}

TEST(AcqStatistics, CountsSuccessesFailuresAndRefusedStarts) {
  vxAcqStatistics statistics;
  statistics.record(10.0, true);
  statistics.record(20.0, false);
  statistics.refused();
  const vxAcqStatistics::Snapshot s = statistics.snapshot();
  EXPECT_EQ(s.acquired, 1u);
  EXPECT_EQ(s.failed, 2u);
  EXPECT_EQ(s.timing.completed, 2u);  // a refused start is not timed
  statistics.reset();
  EXPECT_EQ(statistics.snapshot().timing.shortestMs, vxAcqTiming::kInitialShortestMs);
}

TEST(AcquireFailureWords, FirstFlagInTheFixedOrderNamesTheLine) {
  vxAcquireInfo none;
  EXPECT_EQ(vxAcquireFailureLine(none, 3), "unknown fifo error #3");
  EXPECT_EQ(vxAcquireFailureWords(none), std::vector<std::string>{"Unknown fifo error occurred"});

  // Two flags at once: the record keeps both, the line names the first.
  vxAcquireInfo two;
  two.setIncomplete();
  two.setTimeOut();
  EXPECT_TRUE(two.isIncomplete() && two.isTimeOut());
  EXPECT_EQ(vxAcquireFailureLine(two, 7), "isTimeOut error #7");
  EXPECT_EQ(vxAcquireFailureWords(two),
            (std::vector<std::string>{"isTimeOut error", "isIncomplete error"}));

  vxAcquireInfo abnormal;
  abnormal.setAbnormal(0x1a);
  abnormal.setInvalidROI();
  EXPECT_EQ(vxAcquireFailureLine(abnormal, 2), "isAbnormal error 1a, #2");
  EXPECT_EQ(vxAcquireFailureWords(abnormal),
            (std::vector<std::string>{"isAbnormal error 26", "isInvalidROI error"}));

  vxAcquireInfo roi;
  roi.setInvalidROI();
  EXPECT_EQ(vxAcquireFailureLine(roi, 1), "isInvalidRoi error #1");
  vxAcquireInfo timing;
  timing.setTiming();
  timing.setOtherFifoError();
  EXPECT_EQ(vxAcquireFailureLine(timing, 9), "isTiming (bandwidth) error #9");
}
