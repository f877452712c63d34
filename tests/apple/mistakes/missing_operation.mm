#import <FileProvider/FileProvider.h>

@interface TovrinUnfinished : NSObject <NSFileProviderReplicatedExtension>
@end

@implementation TovrinUnfinished
@end
