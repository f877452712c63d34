#pragma once

#import <Foundation/NSObject.h>

NS_ASSUME_NONNULL_BEGIN

typedef NSUInteger NSStringEncoding;
enum : NSStringEncoding { NSUTF8StringEncoding = 4, NSISOLatin1StringEncoding = 5 };

@class NSData;

@interface NSString : NSObject
@property(readonly) NSUInteger length;
@property(readonly, copy) NSString* lowercaseString;
@property(readonly, copy) NSString* precomposedStringWithCanonicalMapping;
@property(readonly) const char* fileSystemRepresentation;
- (nullable instancetype)initWithBytes:(const void*)bytes length:(NSUInteger)length encoding:(NSStringEncoding)encoding;
- (nullable NSData*)dataUsingEncoding:(NSStringEncoding)encoding;
- (BOOL)isEqualToString:(NSString*)other;
- (NSRange)rangeOfComposedCharacterSequenceAtIndex:(NSUInteger)index;
- (NSComparisonResult)localizedStandardCompare:(NSString*)other;
@end

@interface NSData : NSObject
@property(readonly) NSUInteger length;
@property(readonly) const void* bytes;
+ (instancetype)dataWithBytes:(nullable const void*)bytes length:(NSUInteger)length;
- (void)enumerateByteRangesUsingBlock:(void (^)(const void* bytes, NSRange byteRange, BOOL* stop))block;
@end

@interface NSNumber : NSObject
@property(readonly) int intValue;
+ (NSNumber*)numberWithLong:(long)value;
+ (NSNumber*)numberWithLongLong:(long long)value;
@end

@interface NSDate : NSObject
+ (instancetype)dateWithTimeIntervalSince1970:(NSTimeInterval)seconds;
@end

@interface NSArray<__covariant ObjectType> : NSObject
@property(nullable, nonatomic, readonly) ObjectType firstObject;
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
+ (instancetype)arrayWithCapacity:(NSUInteger)count;
- (void)addObject:(ObjectType)object;
@end

@interface NSDictionary<__covariant KeyType, __covariant ObjectType> : NSObject
+ (instancetype)dictionaryWithObject:(ObjectType)object forKey:(KeyType)key;
@end

@interface NSMutableDictionary<KeyType, ObjectType> : NSDictionary <KeyType, ObjectType>
- (void)setObject:(ObjectType)object forKey:(KeyType)key;
@end

typedef NSString* NSErrorDomain;
typedef NSString* NSErrorUserInfoKey;
extern NSErrorUserInfoKey const NSLocalizedDescriptionKey;
extern NSErrorUserInfoKey const NSDebugDescriptionErrorKey API_AVAILABLE(macos(11.3));

@interface NSError : NSObject
@property(readonly, copy) NSErrorDomain domain;
@property(readonly) NSInteger code;
@property(readonly, copy) NSString* localizedDescription;
+ (instancetype)errorWithDomain:(NSErrorDomain)domain
                           code:(NSInteger)code
                       userInfo:(nullable NSDictionary<NSErrorUserInfoKey, id>*)userInfo;
@end

@interface NSProgress : NSObject
@property int64_t totalUnitCount;
@property int64_t completedUnitCount;
@property(nullable, copy) void (^cancellationHandler)(void);
+ (NSProgress*)progressWithTotalUnitCount:(int64_t)unitCount;
- (void)cancel;
@end

typedef NSString* NSNotificationName;

@interface NSDistributedNotificationCenter : NSObject
+ (NSDistributedNotificationCenter*)defaultCenter;
- (void)postNotificationName:(NSNotificationName)name
                      object:(nullable NSString*)object
                    userInfo:(nullable NSDictionary*)userInfo
          deliverImmediately:(BOOL)deliverImmediately;
@end

NS_ASSUME_NONNULL_END
