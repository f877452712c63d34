#pragma once

#include <stddef.h>
#include <stdint.h>

#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")
#define NS_DESIGNATED_INITIALIZER __attribute__((objc_designated_initializer))
#define NS_UNAVAILABLE __attribute__((unavailable))
#define NS_ENUM(type, name) \
  enum name : type name;    \
  enum name : type
#define NS_OPTIONS(type, name)                       \
  enum __attribute__((flag_enum)) name : type;       \
  typedef enum __attribute__((flag_enum)) name name; \
  enum __attribute__((flag_enum)) name : type
#define API_AVAILABLE(platform) __attribute__((availability(API_##platform)))
#define API_macos(version) macos, introduced = version

#define YES __objc_yes
#define NO __objc_no
#define nil nullptr
#define Nil nullptr

typedef bool BOOL;
typedef long NSInteger;
typedef unsigned long NSUInteger;
typedef double NSTimeInterval;
typedef NS_ENUM(NSInteger, NSComparisonResult) { NSOrderedAscending = -1, NSOrderedSame, NSOrderedDescending };

typedef struct {
  NSUInteger location;
  NSUInteger length;
} NSRange;

NS_ASSUME_NONNULL_BEGIN

@protocol NSObject
- (BOOL)isKindOfClass:(Class)aClass;
- (BOOL)conformsToProtocol:(Protocol*)aProtocol;
- (BOOL)respondsToSelector:(SEL)aSelector;
- (instancetype)retain __attribute__((unavailable("counting is automatic")));
- (oneway void)release __attribute__((unavailable("counting is automatic")));
- (instancetype)autorelease __attribute__((unavailable("counting is automatic")));
@end

__attribute__((objc_root_class))
@interface NSObject<NSObject>
+ (instancetype)alloc;
+ (Class)class;
- (instancetype)init NS_DESIGNATED_INITIALIZER;
- (id)mutableCopy;
@end

NS_ASSUME_NONNULL_END
