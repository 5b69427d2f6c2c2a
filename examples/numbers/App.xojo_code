#tag Class
Protected Class App
Inherits ConsoleApplication
	#tag Note, Name = About
		Many numbers at once: a MemoryBlock's bytes become numbers of Python's, and numbers become bytes.
	#tag EndNote


	#tag Event
		Function Run(args() as String) As Integer
		  If Not Quillix.PythonIsFound Then
		    Print "This program needs Python 2.7."
		    Return 1
		  End If
		  Quillix.Init("numbers")
		  Quillix.AddSearchPath(SpecialFolder.Resources)

		  Var measurements As PythonModule = Quillix.GetModule("measurements")
		  If measurements Is Nil Then
		    Print "The module cannot be imported: " + Quillix.GetError
		    Return 1
		  End If

		  ' As many numbers as there are, in one block of memory.
		  Const kCount = 20000
		  Var samples As New MemoryBlock(kCount * 8)
		  For i As Integer = 0 To kCount - 1
		    samples.DoubleValue(i * 8) = (i * 7919) Mod 1000
		  Next

		  ' The block goes in as a String, which is its bytes.
		  Var arguments As New PythonParameters(1)
		  arguments.StringValue(0) = samples
		  Var result As PythonResult = measurements.GetFunction("statistics").Invoke(arguments)
		  If result Is Nil Then Return Failed
		  Var found As PythonParameters = result.TupleValue
		  Print found.IntegerValue(0).ToString("#,##0") + " numbers from " + found.DoubleValue(1).ToString + _
		    " to " + found.DoubleValue(2).ToString + ", " + found.DoubleValue(3).ToString("0.0") + " on average"

		  ' Numbers come back as bytes, too.
		  arguments = New PythonParameters(2)
		  arguments.StringValue(0) = samples
		  arguments.IntegerValue(1) = 100
		  result = measurements.GetFunction("smooth").Invoke(arguments)
		  If result Is Nil Then Return Failed
		  Var smooth As MemoryBlock = result.StringValue
		  Print (smooth.Size \ 8).ToString("#,##0") + " averages, the first " + smooth.DoubleValue(0).ToString("0.0")

		  ' In place, without a copy: Python writes into the block, which has to live until it is done.
		  Var address As Ptr = samples
		  arguments = New PythonParameters(3)
		  arguments.Int64Value(0) = Integer(address)
		  arguments.IntegerValue(1) = kCount
		  arguments.DoubleValue(2) = 0.5
		  result = measurements.GetFunction("scale").Invoke(arguments)
		  If result Is Nil Then Return Failed
		  Print "halved: " + samples.DoubleValue(8).ToString

		  ' Bytes that are no numbers.
		  arguments = New PythonParameters(1)
		  arguments.StringValue(0) = "twelve bytes"
		  If measurements.GetFunction("statistics").Invoke(arguments) Is Nil Then Call Failed

		  Quillix.Finalize
		  Return 0
		End Function
	#tag EndEvent


	#tag Method, Flags = &h21
		Private Function Failed() As Integer
		  Print "Error in Python: " + Quillix.GetError
		  Quillix.ClearError
		  Return 1
		End Function
	#tag EndMethod


	#tag ViewBehavior
	#tag EndViewBehavior
End Class
#tag EndClass
