#import <FileProvider/FileProvider.h>

@interface TovrinWrong : NSObject <NSFileProviderEnumerator>
@end

@implementation TovrinWrong

- (void)invalidate {
}

- (void)enumerateItemsForObserver:(id<NSFileProviderChangeObserver>)observer startingAtPage:(NSFileProviderPage)page {
}

@end
