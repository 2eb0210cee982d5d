// The rules that hold across node kinds: access modes from all their sources, caching modes,
// invalidation along the dependency graph, selectors, polling, callbacks, text forms, smart
// pointers and the node map's lock.
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

using namespace GenApi;
using GenApiTest::Build;
using GenApiTest::ErrorOf;
using GenApiTest::MemoryPort;

TEST(AccessModes, ComeFromImplementedAvailableLockedImposedAndThePort) {
    auto map = Build(R"(<Port Name="Device"/>
        <Integer Name="Implemented"><Value>1</Value></Integer>
        <Integer Name="Available"><Value>1</Value></Integer>
        <Boolean Name="Locked"><Value>0</Value></Boolean>
        <Integer Name="Feature"><pIsImplemented>Implemented</pIsImplemented><pIsAvailable>Available</pIsAvailable>
          <pIsLocked>Locked</pIsLocked><Value>3</Value></Integer>
        <Integer Name="ReadOnly"><ImposedAccessMode>RO</ImposedAccessMode><Value>3</Value></Integer>
        <IntReg Name="Reg"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <IntReg Name="WriteOnly"><Address>4</Address><Length>4</Length><AccessMode>WO</AccessMode><pPort>Device</pPort></IntReg>
        <Integer Name="Through"><pValue>Reg</pValue><ImposedAccessMode>WO</ImposedAccessMode></Integer>)");
    INode* feature = map->GetNode("Feature");
    EXPECT_EQ(feature->GetAccessMode(), RW);
    CBooleanPtr(map->GetNode("Locked"))->SetValue(true);
    EXPECT_EQ(feature->GetAccessMode(), RO);
    CIntegerPtr(map->GetNode("Available"))->SetValue(0);
    EXPECT_EQ(feature->GetAccessMode(), NA);
    EXPECT_FALSE(IsAvailable(feature));
    EXPECT_TRUE(IsImplemented(feature));
    CIntegerPtr(map->GetNode("Implemented"))->SetValue(0);
    EXPECT_EQ(feature->GetAccessMode(), NI);
    EXPECT_NE(ErrorOf([&] { CIntegerPtr(feature)->GetValue(); }).find("Node 'Feature' is not readable (access mode NI)"),
              std::string::npos);
    EXPECT_EQ(map->GetNode("ReadOnly")->GetAccessMode(), RO);

    // Registers are not available until their port is connected, and obey the port's mode.
    EXPECT_EQ(map->GetNode("Reg")->GetAccessMode(), NA);
    MemoryPort port;
    map->Connect(&port);
    EXPECT_EQ(map->GetNode("Reg")->GetAccessMode(), RW);
    EXPECT_EQ(map->GetNode("WriteOnly")->GetAccessMode(), WO);
    EXPECT_EQ(map->GetNode("Through")->GetAccessMode(), WO);
    port.SetAccessMode(RO);
    map->Connect(&port);
    EXPECT_EQ(map->GetNode("Reg")->GetAccessMode(), RO);
    EXPECT_EQ(map->GetNode("WriteOnly")->GetAccessMode(), NA);
    map->GetNode("ReadOnly")->ImposeAccessMode(NA);
    EXPECT_EQ(map->GetNode("ReadOnly")->GetAccessMode(), NA);
}

const char* const kCachingNodes = R"(<Port Name="Device"/>
    <IntReg Name="Through"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
      <Cachable>WriteThrough</Cachable></IntReg>
    <IntReg Name="Around"><Address>4</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
      <Cachable>WriteAround</Cachable></IntReg>
    <IntReg Name="Never"><Address>8</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
      <Cachable>NoCache</Cachable></IntReg>
    <Integer Name="Available"><pValue>Never</pValue></Integer>
    <Integer Name="Guarded"><pIsAvailable>Available</pIsAvailable><Value>1</Value></Integer>)";

TEST(Caching, WriteThroughKeepsWhatWasWritten) {
    auto map = Build(kCachingNodes);
    MemoryPort port;
    map->Connect(&port);
    CIntegerPtr node = map->GetNode("Through");
    node->SetValue(5);
    const int reads = port.reads;
    EXPECT_EQ(node->GetValue(), 5);
    EXPECT_EQ(node->GetValue(), 5);
    EXPECT_EQ(port.reads, reads);
    EXPECT_TRUE(node->IsValueCacheValid());
    port.Poke(0, 6);
    EXPECT_EQ(node->GetValue(), 5);          // still the cache
    EXPECT_EQ(node->GetValue(false, true), 6); // IgnoreCache goes to the device
    node->GetNode()->InvalidateNode();
    EXPECT_FALSE(node->IsValueCacheValid());
    EXPECT_EQ(node->GetValue(), 6);
}

TEST(Caching, WriteAroundReadsBackAndNoCacheAlwaysReads) {
    auto map = Build(kCachingNodes);
    MemoryPort port;
    map->Connect(&port);
    CIntegerPtr around = map->GetNode("Around");
    around->SetValue(5);
    int reads = port.reads;
    EXPECT_EQ(around->GetValue(), 5);
    EXPECT_EQ(port.reads, reads + 1);
    EXPECT_EQ(around->GetValue(), 5);
    EXPECT_EQ(port.reads, reads + 1);

    CIntegerPtr never = map->GetNode("Never");
    reads = port.reads;
    never->GetValue();
    never->GetValue();
    EXPECT_EQ(port.reads, reads + 2);
    // An access mode computed from an uncached register is not cached either.
    EXPECT_EQ(map->GetNode("Guarded")->GetAccessMode(), NA);
    port.Poke(8, 1);
    EXPECT_EQ(map->GetNode("Guarded")->GetAccessMode(), RW);
    EXPECT_EQ(map->GetNode("Guarded")->IsAccessModeCacheable(), No);
    EXPECT_EQ(map->GetNode("Through")->IsAccessModeCacheable(), Yes);
}

TEST(Invalidation, FollowsInvalidatorsSelectorsAndReaders) {
    auto map = Build(R"(<Port Name="Device"/>
        <IntReg Name="Control"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <IntReg Name="Status"><Address>4</Address><Length>4</Length><AccessMode>RO</AccessMode><pPort>Device</pPort>
          <pInvalidator>Control</pInvalidator></IntReg>
        <Integer Name="Selector"><Value>0</Value><Min>0</Min><Max>3</Max><pSelected>Gain</pSelected></Integer>
        <IntReg Name="Gain"><Address>0x100</Address><pIndex Offset="4">Selector</pIndex><Length>4</Length>
          <AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <Integer Name="Other"><Value>0</Value><pSelected>Gain</pSelected></Integer>)");
    MemoryPort port;
    map->Connect(&port);
    CIntegerPtr status = map->GetNode("Status");
    EXPECT_EQ(status->GetValue(), 0);
    port.Poke(4, 9);
    EXPECT_EQ(status->GetValue(), 0); // cached
    CIntegerPtr(map->GetNode("Control"))->SetValue(1);
    EXPECT_EQ(status->GetValue(), 9);

    CIntegerPtr gain = map->GetNode("Gain");
    CIntegerPtr selector = map->GetNode("Selector");
    gain->SetValue(10);
    selector->SetValue(1);
    gain->SetValue(11);
    selector->SetValue(0);
    EXPECT_EQ(gain->GetValue(), 10);
    selector->SetValue(1);
    EXPECT_EQ(gain->GetValue(), 11);
    EXPECT_EQ(port.Peek(0x104), 11u);

    CSelectorPtr asSelector = map->GetNode("Selector");
    EXPECT_TRUE(asSelector->IsSelector());
    FeatureList_t selected;
    asSelector->GetSelectedFeatures(selected);
    ASSERT_EQ(selected.size(), 1u);
    EXPECT_EQ(selected[0]->GetNode()->GetName(), "Gain");
    CSelectorPtr(map->GetNode("Gain"))->GetSelectingFeatures(selected);
    EXPECT_EQ(selected.size(), 2u);
    NodeList_t children;
    map->GetNode("Gain")->GetChildren(children);
    EXPECT_NE(std::find(children.begin(), children.end(), map->GetNode("Selector")), children.end());
}

TEST(Polling, InvalidatesWhenThePollingTimeRunsOut) {
    auto map = Build(R"(<Port Name="Device"/>
        <IntReg Name="Temperature"><Address>0</Address><Length>4</Length><AccessMode>RO</AccessMode><pPort>Device</pPort>
          <PollingTime>100</PollingTime></IntReg>)");
    MemoryPort port;
    map->Connect(&port);
    CIntegerPtr temperature = map->GetNode("Temperature");
    EXPECT_EQ(temperature->GetNode()->GetPollingTime(), 100);
    int fired = 0;
    Register(temperature->GetNode(), [&](INode*) { ++fired; });
    EXPECT_EQ(temperature->GetValue(), 0);
    port.Poke(0, 42);
    map->Poll(60);
    EXPECT_EQ(temperature->GetValue(), 0);
    EXPECT_EQ(fired, 0);
    map->Poll(60);
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(temperature->GetValue(), 42);
}

struct Observer {
    void OnChange(INode* node) { changed.push_back(node->GetName().c_str()); }
    std::vector<std::string> changed;
};

TEST(Callbacks, FireAfterWritesOnTheNodeAndItsDependents) {
    auto map = Build(R"(<Port Name="Device"/>
        <IntReg Name="Reg"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <Integer Name="Width"><pValue>Reg</pValue></Integer>
        <IntSwissKnife Name="Double"><pVariable Name="W">Width</pVariable><Formula>W * 2</Formula></IntSwissKnife>
        <Integer Name="Unrelated"><Value>0</Value></Integer>)");
    MemoryPort port;
    map->Connect(&port);
    Observer observer;
    const CallbackHandleType onWidth = Register(map->GetNode("Width"), observer, &Observer::OnChange);
    Register(map->GetNode("Double"), observer, &Observer::OnChange);
    Register(map->GetNode("Unrelated"), observer, &Observer::OnChange);
    int64_t seenInside = -1;
    Register(map->GetNode("Double"), [&](INode* node) { seenInside = CIntegerPtr(node)->GetValue(); });

    CIntegerPtr(map->GetNode("Width"))->SetValue(21);
    EXPECT_EQ(seenInside, 42); // the value is already the new one when the callback runs
    std::sort(observer.changed.begin(), observer.changed.end());
    EXPECT_EQ(observer.changed, (std::vector<std::string>{"Double", "Width"}));

    EXPECT_TRUE(Deregister(onWidth));
    EXPECT_FALSE(Deregister(onWidth)); // already gone
    EXPECT_FALSE(Deregister(12345));
    observer.changed.clear();
    CIntegerPtr(map->GetNode("Reg"))->SetValue(1);
    EXPECT_EQ(observer.changed, std::vector<std::string>{"Double"});
    observer.changed.clear();
    map->GetNode("Width")->InvalidateNode();
    EXPECT_EQ(observer.changed, std::vector<std::string>{"Double"});
}

TEST(Callbacks, OutsideLockCallbacksRunWithoutTheLockAndMayDeregisterThemselves) {
    auto map = Build(R"(<Integer Name="Value"><Value>0</Value></Integer>)");
    INode* node = map->GetNode("Value");
    bool lockFree = false;
    Register(node, [&](INode*) {
        // Another thread can take the map's lock while an outside-lock callback runs.
        std::thread other([&] {
            lockFree = map->GetLock().TryLock();
            if (lockFree) map->GetLock().Unlock();
        });
        other.join();
    }, cbPostOutsideLock);
    CIntegerPtr(node)->SetValue(1);
    EXPECT_TRUE(lockFree);

    // An outside-lock callback that removes the next one: the removed one does not run.
    int laterCalls = 0;
    CallbackHandleType later = 0;
    Register(node, [&](INode*) { Deregister(later); }, cbPostOutsideLock);
    later = Register(node, [&](INode*) { ++laterCalls; }, cbPostOutsideLock);
    CIntegerPtr(node)->SetValue(5);
    EXPECT_EQ(laterCalls, 0);

    int calls = 0;
    CallbackHandleType self = 0;
    self = Register(node, [&](INode*) {
        ++calls;
        Deregister(self);
    });
    CIntegerPtr(node)->SetValue(2);
    CIntegerPtr(node)->SetValue(3);
    EXPECT_EQ(calls, 1);
}

TEST(Callbacks, AnExceptionFromACallbackReachesTheWriter) {
    auto map = Build(R"(<Integer Name="Value"><Value>0</Value></Integer>)");
    INode* node = map->GetNode("Value");
    Register(node, [](INode*) { throw RUNTIME_EXCEPTION("callback failed"); });
    EXPECT_THROW(CIntegerPtr(node)->SetValue(1), GenICam::RuntimeException);
    EXPECT_EQ(CIntegerPtr(node)->GetValue(), 1); // the write itself happened
}

TEST(TextForms, HonourRepresentations) {
    auto map = Build(R"(
        <Integer Name="Hex"><Value>255</Value><Representation>HexNumber</Representation></Integer>
        <Integer Name="Address"><Value>3232235777</Value><Representation>IPV4Address</Representation></Integer>
        <Integer Name="Mac"><Value>0</Value><Representation>MACAddress</Representation></Integer>
        <Float Name="Scientific"><Value>1234.5</Value><DisplayNotation>Scientific</DisplayNotation>
          <DisplayPrecision>3</DisplayPrecision></Float>)");
    CIntegerPtr hex = map->GetNode("Hex");
    EXPECT_EQ(hex->ToString(), "0xFF");
    hex->FromString("0x10");
    EXPECT_EQ(hex->GetValue(), 16);
    hex->FromString("  42 ");
    EXPECT_EQ(hex->GetValue(), 42);
    EXPECT_THROW(hex->FromString("forty"), GenICam::InvalidArgumentException);
    CIntegerPtr address = map->GetNode("Address");
    EXPECT_EQ(address->ToString(), "192.168.1.1");
    address->FromString("10.0.0.2");
    EXPECT_EQ(address->GetValue(), 0x0A000002);
    EXPECT_THROW(address->FromString("10.0.0.256"), GenICam::InvalidArgumentException);
    CIntegerPtr mac = map->GetNode("Mac");
    mac->FromString("00:11:22:AA:BB:CC");
    EXPECT_EQ(mac->GetValue(), 0x001122AABBCCLL);
    EXPECT_EQ(mac->ToString(), "00:11:22:AA:BB:CC");
    CFloatPtr scientific = map->GetNode("Scientific");
    EXPECT_EQ(scientific->ToString(), "1.234e+03");
    scientific->FromString("2.5");
    EXPECT_DOUBLE_EQ(scientific->GetValue(), 2.5);
}

TEST(SmartPointers, CastByInterfaceAndRefuseNullDereference) {
    auto map = Build(R"(<Integer Name="Width"><Value>1</Value></Integer>)");
    CIntegerPtr width = map->GetNode("Width");
    CFloatPtr notFloat = map->GetNode("Width");
    CIntegerPtr missing = map->GetNode("Missing");
    EXPECT_TRUE(width.IsValid());
    EXPECT_FALSE(notFloat.IsValid());
    EXPECT_FALSE(missing);
    EXPECT_TRUE(missing == nullptr);
    EXPECT_EQ(ErrorOf([&] { missing->GetValue(); }), "NULL pointer dereferenced");
    EXPECT_THROW(*notFloat, GenICam::LogicalErrorException);
    CNodePtr node = width;
    EXPECT_EQ(node->GetName(), "Width");
    CValuePtr value = node;
    EXPECT_EQ(value->ToString(), "1");
    EXPECT_TRUE(IsReadable(width));
    EXPECT_TRUE(IsWritable(width));
    EXPECT_FALSE(IsReadable(missing));
    EXPECT_FALSE(IsAvailable(static_cast<IBase*>(nullptr)));
}

TEST(NodeMapLock, SerialisesConcurrentWritersAndReaders) {
    auto map = Build(R"(<Port Name="Device"/>
        <IntReg Name="Counter"><Address>0</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>
        <Integer Name="Value"><pValue>Counter</pValue></Integer>)");
    MemoryPort port;
    map->Connect(&port);
    CIntegerPtr value = map->GetNode("Value");
    std::atomic<int> callbacks{0};
    Register(value->GetNode(), [&](INode*) { ++callbacks; });
    auto increment = [&] {
        for (int index = 0; index < 500; ++index) {
            AutoLock lock(map->GetLock()); // read-modify-write as one step
            value->SetValue(value->GetValue() + 1);
        }
    };
    std::thread first(increment);
    std::thread second(increment);
    for (int index = 0; index < 200; ++index) (void)value->ToString();
    first.join();
    second.join();
    EXPECT_EQ(value->GetValue(), 1000);
    EXPECT_EQ(callbacks.load(), 1000);
}

} // namespace
