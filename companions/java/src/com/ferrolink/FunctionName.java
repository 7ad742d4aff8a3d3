package com.ferrolink;

import java.lang.annotation.Documented;
import java.lang.annotation.ElementType;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/**
 * The name of the function that a method of an interface calls, if it differs from the method's name.
 * See {@link Ferrolink#as}.
 */
@Documented
@Retention(RetentionPolicy.RUNTIME)
@Target(ElementType.METHOD)
public @interface FunctionName {

    /**
     * The name of the function.
     *
     * @return 1 to 255 bytes when encoded as UTF-8
     */
    String value();
}
