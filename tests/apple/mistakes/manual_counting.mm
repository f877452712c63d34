#import <Foundation/Foundation.h>

void letGo(NSObject* object) { [object release]; }
