#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "qel/Type.h"

namespace {

using Qel::Name;
using Qel::Ptr;
using Qel::PtrInterface;
using Qel::RangeException;
using Qel::String8;
using Qel::Value;
using Qel::Values;
using testing::ThrowsMessage;

class Engine : public PtrInterface {};

class Car : public PtrInterface {
 public:
  Car(const Name& name, uint32_t doors) : name_(name), doors_(doors) {
    if (doors > 5) throw RangeException("too many doors");
  }
  const Name& name() const { return name_; }
  uint32_t doors() const { return doors_; }
  void doorsIs(uint32_t doors) { doors_ = doors; }
  bool open() const { return open_; }
  void openIs(bool open) { open_ = open; }
  double speed() const { return speed_; }
  void speedIs(double speed) { speed_ = speed; }
  const String8& colour() const { return colour_; }
  void colourIs(const String8& colour) { colour_ = colour; }
  const Ptr<Engine>& engine() const { return engine_; }
  void engineIs(const Ptr<Engine>& engine) { engine_ = engine; }
  Ptr<const Engine> spare() const { return spare_; }
  void spareIs(const Ptr<const Engine>& spare) { spare_ = spare; }
  uint32_t sum(uint32_t a, uint32_t b) const { return a + b; }

 private:
  Name name_;
  uint32_t doors_;
  bool open_ = false;
  double speed_ = 0;
  String8 colour_;
  Ptr<Engine> engine_;
  Ptr<const Engine> spare_;
};

Ptr<Car> makeCar(const Name& name, uint32_t doors) { return Qel::make<Car>(name, doors); }

class Types : public testing::Test {
 protected:
  Types() {
    registration_.factory(&makeCar)
        .operation("name", &Car::name)
        .operation("doors", &Car::doors)
        .operation("doorsIs", &Car::doorsIs)
        .operation("open", &Car::open)
        .operation("openIs", &Car::openIs)
        .operation("speed", &Car::speed)
        .operation("speedIs", &Car::speedIs)
        .operation("colour", &Car::colour)
        .operation("colourIs", &Car::colourIs)
        .operation("engine", &Car::engine)
        .operation("engineIs", &Car::engineIs)
        .operation("spare", &Car::spare)
        .operation("spareIs", &Car::spareIs)
        .operation("sum", &Car::sum);
  }
  Value call(const char* operation, const Values& arguments = {}) {
    return Qel::call("TypeTest::Car", *car_, operation, arguments);
  }

  Qel::TypeRegistration<Car> registration_{"TypeTest::Car"};
  Ptr<Car> car_ = makeCar("mine", 3);
  Ptr<Engine> engine_ = Qel::make<Engine>();
};

TEST_F(Types, AreFoundByNameUntilTheirRegistrationGoes) {
  EXPECT_FALSE(Qel::hasType("TypeTest::Passing"));
  {
    const Qel::TypeRegistration<Car> passing("TypeTest::Passing");
    EXPECT_TRUE(Qel::hasType("TypeTest::Passing"));
    EXPECT_EQ(Qel::typeOf("TypeTest::Passing").name(), "TypeTest::Passing");
  }
  EXPECT_FALSE(Qel::hasType("TypeTest::Passing"));
  EXPECT_THAT([] { Qel::typeOf("TypeTest::Passing"); },
              ThrowsMessage<RangeException>("no type 'TypeTest::Passing' is registered"));
}

TEST_F(Types, ATakenNameIsRefusedAndTheFirstStays) {
  EXPECT_THAT(
      [] { const Qel::TypeRegistration<Engine> second("TypeTest::Car"); },
      ThrowsMessage<Qel::NameInUseException>("the type 'TypeTest::Car' is registered already"));
  EXPECT_EQ(call("doors"), Value(3U));
}

TEST_F(Types, TheFactoryTakesTheConstructorsArguments) {
  const auto made =
      Qel::typeOf("TypeTest::Car").create({Value(String8("new")), Value(uint32_t{4})});
  const auto car = Qel::ptrCast<Car>(made);
  ASSERT_NE(car, nullptr);
  EXPECT_EQ(car->name(), Name("new"));
  EXPECT_EQ(car->doors(), 4U);
}

TEST_F(Types, TheFactoryRefusesArgumentsThatDoNotFit) {
  struct Case {
    Values arguments;
    const char* message;
  };
  const std::vector<Case> cases = {
      {{}, "expected 2 arguments, got 0"},
      {{Value(String8("x"))}, "expected 2 arguments, got 1"},
      {{Value(String8("x")), Value(1U), Value(1U)}, "expected 2 arguments, got 3"},
      {{Value(1U), Value(1U)}, "wrong kind of value, expected a string"},
      {{Value(String8("x")), Value(String8("y"))}, "wrong kind of value, expected a number"},
      {{Value(String8("x")), Value(6U)}, "too many doors"},
  };
  for (const Case& c : cases) {
    EXPECT_THAT([&c] { Qel::typeOf("TypeTest::Car").create(c.arguments); },
                ThrowsMessage<RangeException>(c.message));
  }
}

TEST_F(Types, ATypeWithoutAFactoryAndAFactoryThatMakesNothingAreRefused) {
  Qel::TypeRegistration<Car> bare("TypeTest::Bare");
  EXPECT_THAT([] { Qel::typeOf("TypeTest::Bare").create({}); },
              ThrowsMessage<RangeException>("the type 'TypeTest::Bare' has no factory"));
  bare.factory(+[] { return Ptr<Car>(); });
  EXPECT_THAT([] { Qel::typeOf("TypeTest::Bare").create({}); },
              ThrowsMessage<RangeException>("null ValidPtr"));
}

TEST_F(Types, OperationsPassEveryKindOfValueInAndOut) {
  struct Case {
    const char* accessor;
    const char* mutator;
    Value value;
  };
  const std::vector<Case> cases = {
      {"doors", "doorsIs", Value(4U)},
      {"open", "openIs", Value(true)},
      {"speed", "speedIs", Value(12.5)},
      {"colour", "colourIs", Value(String8("red"))},
      {"engine", "engineIs", Value(Ptr<PtrInterface>(engine_))},
      {"spare", "spareIs", Value(Ptr<const PtrInterface>(engine_))},
  };
  for (const Case& c : cases) {
    EXPECT_NE(call(c.accessor), c.value) << c.accessor;
    EXPECT_EQ(call(c.mutator, {c.value}), Value()) << c.mutator;
    EXPECT_EQ(call(c.accessor), c.value) << c.accessor;
  }
  EXPECT_EQ(call("name"), Value(String8("mine")));
  EXPECT_EQ(call("sum", {Value(2U), Value(3U)}), Value(5U));
}

TEST_F(Types, AnEmptyValueAndANullPointerAreNull) {
  for (const Value& null :
       {Value(), Value(Ptr<PtrInterface>()), Value(Ptr<const PtrInterface>())}) {
    car_->engineIs(engine_);
    car_->spareIs(engine_);
    call("engineIs", {null});
    call("spareIs", {null});
    EXPECT_EQ(car_->engine(), nullptr);
    EXPECT_EQ(car_->spare(), nullptr);
  }
  EXPECT_EQ(call("engine"), Value(Ptr<PtrInterface>()));
}

TEST_F(Types, AnObjectThatMayBeChangedServesWhereItIsOnlyRead) {
  call("spareIs", {Value(Ptr<PtrInterface>(engine_))});
  EXPECT_EQ(car_->spare(), engine_);
}

TEST_F(Types, OperationsRefuseWhatDoesNotFit) {
  struct Case {
    const char* operation;
    Values arguments;
    const char* message;
  };
  const std::vector<Case> cases = {
      {"wheels", {}, "the type 'TypeTest::Car' has no operation 'wheels'"},
      {"sum", {Value(1U)}, "expected 2 arguments, got 1"},
      {"doorsIs", {Value(true)}, "wrong kind of value, expected a number"},
      {"doorsIs", {Value(1.0)}, "wrong kind of value, expected a number"},
      {"doorsIs", {Value()}, "wrong kind of value, expected a number"},
      {"openIs", {Value(1U)}, "wrong kind of value, expected a truth value"},
      {"speedIs", {Value(1U)}, "wrong kind of value, expected a time"},
      {"colourIs", {Value(1U)}, "wrong kind of value, expected a string"},
      {"engineIs", {Value(1U)}, "wrong kind of value, expected an object"},
      {"engineIs",
       {Value(Ptr<const PtrInterface>(engine_))},
       "wrong kind of value, expected an object that may be changed"},
      {"engineIs",
       {Value(Ptr<PtrInterface>(car_))},
       "wrong kind of value, expected an object of another type"},
      {"spareIs",
       {Value(Ptr<const PtrInterface>(car_))},
       "wrong kind of value, expected an object of another type"},
  };
  for (const Case& c : cases) {
    EXPECT_THAT([&] { call(c.operation, c.arguments); }, ThrowsMessage<RangeException>(c.message))
        << c.operation;
  }
  EXPECT_EQ(car_->doors(), 3U);
  EXPECT_EQ(car_->engine(), nullptr);
}

TEST_F(Types, AnOperationOnAnObjectOfAnotherTypeIsRefused) {
  EXPECT_THAT(
      [this] { Qel::call("TypeTest::Car", *engine_, "doors"); },
      ThrowsMessage<RangeException>("wrong kind of value, expected an object of another type"));
}

}  // namespace
