/**
 * Typed calls. The built-in handler {@code objects} lets other runtimes create Java objects, call their
 * methods, implement interfaces and iterate. {@link com.ferrolink.Ferrolink#as} uses the same encoding.
 * Programs use only {@link com.ferrolink.core.objects.FunctionException}; all other classes are
 * internal to the archive and its native code.
 */
package com.ferrolink.core.objects;
